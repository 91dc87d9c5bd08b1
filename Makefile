# Thin wrapper over CMake: every real rule lives in CMakeLists.txt.
BUILD ?= build
SANITIZE_BUILD ?= build-sanitize
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
GENERATOR ?= Ninja
JOBS ?= $(shell nproc)

.PHONY: deps format-check configure build test sanitize fuzz-smoke demo bench clean

deps:
	bash scripts/install-deps.sh

configure:
	cmake -S . -B $(BUILD) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo

# The tree is formatted by clang-format (.clang-format); any unformatted tracked source fails the build.
format-check:
	git ls-files -z '*.cpp' '*.h' '*.inc' | xargs -0 clang-format --dry-run --Werror

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# Every test: the CTest suite, the same suite built with AddressSanitizer and
# UndefinedBehaviorSanitizer (leak detection on), then each fuzzer for FUZZ_SECONDS.
test: deps format-check build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	$(MAKE) sanitize
	$(MAKE) fuzz-smoke

SANITIZER_ENV = ASAN_OPTIONS=detect_leaks=1:check_initialization_order=1 \
  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizer/lsan.supp \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

sanitize:
	cmake -S . -B $(SANITIZE_BUILD) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DVQT_SANITIZE=address,undefined -DVQT_BUILD_BENCHMARKS=OFF
	cmake --build $(SANITIZE_BUILD) -j $(JOBS)
	$(SANITIZER_ENV) ctest --test-dir $(SANITIZE_BUILD) --output-on-failure -j $(JOBS)

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
	rm -rf $(BUILD) $(SANITIZE_BUILD) $(FUZZ_BUILD)
