# make run   installs what is missing, builds, starts lumora
# make test  installs what is missing, builds, runs every test
BUILD_DIR ?= build
GENERATOR ?= Ninja
JOBS ?= $(shell nproc)

.PHONY: all setup configure build run test bench format format-check clean

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

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

format-check:
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	@rm -rf $(BUILD_DIR)
