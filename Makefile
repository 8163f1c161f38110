# make demo: install what is missing, build, run the main job on the bundled example.
# make test: install what is missing, build, run every test.
BUILD ?= build
JOBS  ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps build test demo clean

all: build

deps:
	@./scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(BUILD) -j$(JOBS)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

demo: build
	@./scripts/demo.sh $(BUILD)

clean:
	rm -rf $(BUILD) build-asan
