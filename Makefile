# Entry points: `make test` sets up a fresh Debian machine, builds and runs
# every test; `make test-sanitize` does the same with ASan and UBSan;
# `make test-thread` runs the concurrency tests under ThreadSanitizer;
# `make check-headers` compiles each public header alone, also for Windows;
# `make demo` builds as `make test` does, then runs the dscore tool on examples/.
# CXX=clang++ on the command line builds with Clang.
.PHONY: all deps build test demo build-sanitize test-sanitize build-thread test-thread bench check-headers clean

BUILD_DIR ?= build
SANITIZE_DIR ?= build-sanitize
TSAN_DIR ?= build-tsan
# Test programs that hold concurrency tests (named *Concurrency*).
TSAN_TARGETS ?= streams_tests units_tests manager_tests importers_tests
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=
# A compiler named on the command line or in the environment wins over the one
# an existing build folder was configured with.
CXX_FLAG := $(if $(filter-out default,$(origin CXX)),-DCMAKE_CXX_COMPILER=$(CXX))
DEPS := $(if $(findstring clang,$(CXX)),clang)

all: build

deps:
	@./scripts/install-deps.sh $(DEPS)

build: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CXX_FLAG) $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

demo: build
	DSCORE=$(BUILD_DIR)/Tools/dscore/dscore ./scripts/demo.sh $(BUILD_DIR)/demo

build-sanitize: deps
	cmake -S . -B $(SANITIZE_DIR) -DCMAKE_BUILD_TYPE=Debug -DDSCORE_SANITIZE=ON $(CXX_FLAG) $(CMAKE_FLAGS)
	cmake --build $(SANITIZE_DIR) -j $(JOBS)

test-sanitize: build-sanitize
	ctest --test-dir $(SANITIZE_DIR) --output-on-failure -j $(JOBS)

build-thread: deps
	cmake -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDSCORE_TSAN=ON $(CXX_FLAG) $(CMAKE_FLAGS)
	cmake --build $(TSAN_DIR) -j $(JOBS) --target $(TSAN_TARGETS)

# Address-space randomisation off (setarch -R): the ThreadSanitizer runtime
# cannot map its shadow memory under the high randomisation of newer kernels.
test-thread: build-thread
	setarch $$(uname -m) -R ctest --test-dir $(TSAN_DIR) --output-on-failure -R Concurrency

bench:
	@./scripts/install-deps.sh bench $(DEPS)
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DDSCORE_BUILD_BENCH=ON -DDSCORE_BUILD_TESTS=OFF $(CXX_FLAG) $(CMAKE_FLAGS)
	cmake --build build-bench -j $(JOBS)
	@for b in build-bench/bench/*_bench; do [ -x "$$b" ] && "$$b"; done

check-headers:
	@./scripts/install-deps.sh mingw $(DEPS)
	./scripts/check-headers.sh

# Fuzz targets built by clang; each runs FUZZ_SECONDS after replaying fuzz/regressions/.
.PHONY: fuzz
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
fuzz:
	@./scripts/install-deps.sh clang
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDSCORE_BUILD_FUZZ=ON -DDSCORE_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_DIR) -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) ./fuzz/run.sh $(FUZZ_DIR)

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(TSAN_DIR) build-bench $(FUZZ_DIR)
