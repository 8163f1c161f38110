# make demo: install what is missing, build, run the main job on the bundled example.
# make test: install what is missing, build, run every test.
BUILD ?= build
JOBS  ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps build test demo clean

all: build

deps:
	@./scripts/install-deps.sh

# Each step shows its progress; the build's own output goes to
# $(BUILD)/build.log and its end is shown when it fails.
build: deps
	@./scripts/build.sh $(BUILD)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

# The demo needs the library, the host layer and kvtables only.
demo: deps
	@./scripts/build.sh $(BUILD) kvtables
	@./scripts/demo.sh $(BUILD)

clean:
	rm -rf $(BUILD) build-asan
