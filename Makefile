# Entry points: `make test` sets up a fresh Debian machine, builds and runs
# every test; `make test-sanitize` does the same with ASan and UBSan.
.PHONY: all deps build test build-sanitize test-sanitize bench clean

BUILD_DIR ?= build
SANITIZE_DIR ?= build-sanitize
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

all: build

deps:
	@./scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

build-sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DDSCORE_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(SANITIZE_DIR) -j $(JOBS)

test-sanitize: build-sanitize
	ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS)

bench: deps
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DDSCORE_BUILD_BENCH=ON -DDSCORE_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build build-bench -j $(JOBS)
	@for b in build-bench/bench/*_bench; do [ -x "$$b" ] && "$$b"; done

# Fuzz targets built by clang; each runs FUZZ_SECONDS after replaying fuzz/regressions/.
.PHONY: fuzz
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDSCORE_BUILD_FUZZ=ON -DDSCORE_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_DIR) -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) ./fuzz/run.sh $(FUZZ_DIR)

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) build-bench $(FUZZ_DIR)
