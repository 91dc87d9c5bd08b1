# Thin wrapper over CMake: every real rule lives in CMakeLists.txt.
BUILD ?= build
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 20
GENERATOR ?= Ninja
JOBS ?= $(shell nproc)

.PHONY: deps configure build test fuzz-smoke demo bench clean

deps:
	bash scripts/install-deps.sh

configure:
	cmake -S . -B $(BUILD) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# Every test: the CTest suite, then each fuzzer for FUZZ_SECONDS on its seeds.
test: deps build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	$(MAKE) fuzz-smoke

fuzz-smoke:
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DVQT_BUILD_FUZZERS=ON -DVQT_BUILD_TESTS=OFF -DVQT_BUILD_BENCHMARKS=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzzers
	bash fuzz/run-smoke.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

demo: deps build
	bash scripts/demo.sh $(BUILD)

bench: build
	bash bench/run.sh $(BUILD)

clean:
	rm -rf $(BUILD) $(FUZZ_BUILD)
