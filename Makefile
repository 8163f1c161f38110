# make demo: install what is missing, build, run the main job on the bundled example.
# make test: install what is missing, build, run every test.
# make fuzz: install clang, build the fuzz harnesses in build-fuzz, run each for FUZZ_SECONDS.
BUILD ?= build
JOBS  ?= $(shell nproc 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 60

.PHONY: all deps build test demo fuzz clean

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

fuzz:
	@./scripts/install-deps.sh fuzz
	@./fuzz/run-fuzzers.sh build-fuzz $(FUZZ_SECONDS)

clean:
	rm -rf $(BUILD) build-asan build-tsan build-fuzz
