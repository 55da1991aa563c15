# make run   installs what is missing, builds, starts lumora
# make test  installs what is missing, builds, runs every test
BUILD_DIR ?= build
GENERATOR ?= Ninja
JOBS ?= $(shell nproc)

.PHONY: all setup configure build run test bench fuzz test-sanitize format format-check clean

all: build

setup:
	@scripts/setup.sh

configure: setup
	@cmake -S . -B $(BUILD_DIR) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	$(BUILD_DIR)/bin/lumora $(ARGS)

test: build
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

bench: build
	@for b in $(BUILD_DIR)/bin/bench_*; do echo "== $$b"; $$b; done

# Fuzzing: every target for FUZZ_SECONDS each (default 60), starting from the seed corpora in
# fuzz/corpus; new inputs land in fuzz-out/<target>/, problems in fuzz-out/<target>-findings/.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS = fuzz_claude_cache fuzz_snapshot fuzz_json_extract fuzz_installer
FUZZ_FLAGS = -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
fuzz: setup
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
		if [ -n "$$(ls -A $$findings)" ]; then \
			echo "$$t found a problem: see $$findings/"; failed="$$failed $$t"; fi; \
	done; [ -z "$$failed" ] || { echo "fuzzing found problems in:$$failed"; exit 1; }

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

format-check:
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	@rm -rf $(BUILD_DIR)
