# make demo: install what is missing, build, run the main job on the bundled example.
# make test: install what is missing, build, run every test.
BUILD ?= build
JOBS  ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all deps build test demo clean

all: build

deps:
	@./scripts/install-deps.sh

# The build's own output goes to $(BUILD)/build.log and is shown only when it fails.
build: deps
	@mkdir -p $(BUILD)
	@echo "building in $(BUILD)/ (log: $(BUILD)/build.log)"
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo > $(BUILD)/build.log 2>&1 || { cat $(BUILD)/build.log; exit 1; }
	@cmake --build $(BUILD) -j$(JOBS) >> $(BUILD)/build.log 2>&1 || { tail -n 60 $(BUILD)/build.log; exit 1; }

test: build
	@cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

demo: build
	@./scripts/demo.sh $(BUILD)

clean:
	rm -rf $(BUILD) build-asan
