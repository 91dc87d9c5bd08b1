# Thin wrapper over CMake: every real rule lives in CMakeLists.txt.
BUILD ?= build
GENERATOR ?= Ninja
JOBS ?= $(shell nproc)

.PHONY: deps configure build test demo bench clean

deps:
	bash scripts/install-deps.sh

configure:
	cmake -S . -B $(BUILD) -G $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: deps build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

demo: deps build
	bash scripts/demo.sh $(BUILD)

bench: build
	bash bench/run.sh $(BUILD)

clean:
	rm -rf $(BUILD)
