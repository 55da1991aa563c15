# make run   installs what is missing, builds, starts lumora
# make test  installs what is missing, builds, runs every test
# make install  builds, installs under PREFIX (default /usr/local); DESTDIR is honoured
# make package  builds the Debian package lumora_VERSION_ARCH.deb in the build folder
BUILD_DIR ?= build
GENERATOR ?= Ninja
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
# ccache keys on paths relative to the checkout, so every checkout shares one cache.
export CCACHE_BASEDIR ?= $(CURDIR)

.PHONY: all setup configure build run test test-latest-clients test-desktop install package bench fuzz test-sanitize test-asan test-tsan coverage format format-check clean

all: build

setup:
	@scripts/setup.sh

configure: setup
	@cmake -S . -B $(BUILD_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	$(BUILD_DIR)/bin/lumora $(ARGS)

# qmllint over every QML file of the module first: it must find nothing.
test: build
	@cmake --build $(BUILD_DIR) --target all_qmllint >/dev/null
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

# The real-client tests against the newest published Codex CLI and Claude Code instead of the
# pinned ones (installed into .deps/latest): a change in how either reports its figures fails here.
test-latest-clients: build
	@LUMORA_REAL_CLIENTS=latest scripts/setup.sh
	@LUMORA_REAL_CLIENTS=latest ctest --test-dir $(BUILD_DIR) --output-on-failure -R '^RealClientsTest\.'

# Lumora against the real panels of Debian's desktops, headless: GNOME Shell with the AppIndicator
# extension, KDE Plasma's shell, XFCE's panel, sway with waybar, dunst, and a privacy trace. Each
# case starts its own buses, display server and panel and ends them; screenshots and logs go to
# build/desktop-test/. DESKTOP_CASES picks some (gnome plasma xfce screens sway).
test-desktop: build
	@scripts/setup.sh desktop
	@tests/desktop/run.sh -o $(BUILD_DIR)/desktop-test $(BUILD_DIR)/bin/lumora $(DESKTOP_CASES)

install: build
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD_DIR) --prefix "$(PREFIX)"

package: build
	@cd $(BUILD_DIR) && cpack -G DEB

bench: build
	@for b in $(BUILD_DIR)/bin/bench_*; do echo "== $$b"; $$b; done

# The test suite under sanitizers, each in its own build folder: every test with AddressSanitizer
# and UndefinedBehaviorSanitizer, and the tests of concurrent code (the process runner, the Codex
# app-server session, the application model, the cube field's render thread) with ThreadSanitizer.
# QProcess forks from worker threads and the child only calls exec, hence die_after_fork=0.
SANITIZER_CMAKE = -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_BUILD_BENCH=OFF \
	-DLUMORA_STATIC_HOOK_HELPER=OFF
# GCC's -Wmaybe-uninitialized misfires on Qt's headers once ASan's instrumentation is in (a moved-from
# QString inside std::variant); the normal build keeps the warning.
ASAN_FLAGS = -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer \
	-Wno-maybe-uninitialized
TSAN_FLAGS = -fsanitize=thread -fno-omit-frame-pointer
TSAN_TESTS = ^(ProcessRunnerTest|AppServerSessionTest|CodexProviderTest|RefreshTest|ConnectionFlowTest|\
	UpdateCheckTest|NotificationBusTest|PreferencesTest|BreakBackgroundPhotoTest|AmbientCubeFieldItem|StatusTitle)\.
# The conformance tests against the real Codex CLI and the real Claude Code run in make test only:
# their time goes to Node, Codex and Claude Code, which are not instrumented, and Lumora's side
# (the app-server conversation, connect and disconnect, the hook) runs under the sanitizers
# through the fake tools and status JSON of the other tests.
ASAN_EXCLUDED = ^(RealCodexTest|RealClaudeCodeTest|RealClientsTest)\.
test-sanitize: test-asan test-tsan

test-asan: setup
	@cmake -S . -B build-asan $(SANITIZER_CMAKE) -DCMAKE_CXX_FLAGS="$(ASAN_FLAGS)" >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
		LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizers/lsan.supp:print_suppressions=0 \
		UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
		ctest --test-dir build-asan --output-on-failure -j $(JOBS) -E '$(ASAN_EXCLUDED)'

test-tsan: setup
	@cmake -S . -B build-tsan $(SANITIZER_CMAKE) -DCMAKE_CXX_FLAGS="$(TSAN_FLAGS)" >/dev/null
	@cmake --build build-tsan -j $(JOBS)
	@TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:die_after_fork=0:suppressions=$(CURDIR)/tests/sanitizers/tsan.supp \
		ctest --test-dir build-tsan --output-on-failure -j $(JOBS) -R '$(TSAN_TESTS)'

# Fuzzing: every target for FUZZ_SECONDS each (default 60), starting from the seed corpora in
# fuzz/corpus; new inputs land in fuzz-out/<target>/, problems in fuzz-out/<target>-findings/
# (crashes, leaks, time-outs and memory blow-ups fail the run; slow-unit reports only inform).
FUZZ_SECONDS ?= 60
FUZZ_TARGETS = fuzz_claude_cache fuzz_codex_transcript fuzz_snapshot fuzz_manifest \
	fuzz_json_extract fuzz_installer
FUZZ_FLAGS = -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
fuzz:
	@scripts/setup.sh fuzz
	@cmake -S . -B build-fuzz -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS="$(FUZZ_FLAGS)" -DLUMORA_FUZZ=ON \
		-DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=OFF -DLUMORA_STATIC_HOOK_HELPER=OFF >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target $(FUZZ_TARGETS) lumora-json
	@failed=""; for t in $(FUZZ_TARGETS); do \
		name=$${t#fuzz_}; findings=fuzz-out/$$name-findings; \
		rm -rf $$findings; mkdir -p fuzz-out/$$name $$findings; \
		echo "== $$t for $(FUZZ_SECONDS) s"; \
		build-fuzz/bin/$$t -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
			-artifact_prefix=$$findings/ fuzz-out/$$name fuzz/corpus/$$name 2>&1 \
			| grep -E "^(stat::number_of_executed_units|SUMMARY|invariant)" || true; \
		if [ -n "$$(find $$findings -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*')" ]; then \
			echo "$$t found a problem: see $$findings/"; failed="$$failed $$t"; fi; \
	done; [ -z "$$failed" ] || { echo "fuzzing found problems in:$$failed"; exit 1; }

# Line and branch coverage of app/, core/ and tools/ per folder, from the tests make test runs,
# in a build folder of its own (unoptimised, so every line is where the source says; counters
# updated atomically, since the tray's worker threads run the same code at once).
# COVERAGE_TESTS=REGEX runs only the ctest tests it matches (quick figures for one folder of
# tests); scripts/coverage-baseline.txt holds the figures of the whole suite to compare with.
COVERAGE_TESTS ?= .
coverage:
	@scripts/setup.sh coverage
	@cmake -S . -B build-coverage -G $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug \
		-DCMAKE_CXX_FLAGS="--coverage -O0 -fprofile-update=atomic" \
		-DLUMORA_STATIC_HOOK_HELPER=OFF >/dev/null
	@cmake --build build-coverage -j $(JOBS)
	@find build-coverage -name '*.gcda' -delete
	@ctest --test-dir build-coverage --output-on-failure -j $(JOBS) -R '$(COVERAGE_TESTS)' \
		>build-coverage/ctest.log || { tail -n 40 build-coverage/ctest.log; exit 1; }
	@grep -E 'tests passed|tests failed' build-coverage/ctest.log
	@scripts/coverage.py build-coverage

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

format-check:
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	@rm -rf $(BUILD_DIR)
