# Set-up commands for a fresh Debian machine (run as root, or with the packages of
# scripts/install-deps.sh already installed).
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= 2
DEMO_SECONDS ?= 0

.PHONY: all deps build test unit-asan demo format clean bench

all: build

deps:
	@sh scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j$(JOBS)

# Every test: unit, end-to-end and simulator tests on the normal build, then the unit
# suite again under AddressSanitizer and UndefinedBehaviorSanitizer.
test: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTELEM_SANITIZE=ON -DTELEM_TOOLS=OFF -DTELEM_BENCH=OFF >/dev/null
	cmake --build $(ASAN_BUILD) -j$(JOBS) --target unit_tests
	cd $(ASAN_BUILD) && ctest --output-on-failure -j$(JOBS) -L unit

bench: build
	$(BUILD)/bin/telem_bench

demo: build
	@if [ -x sim/demo.sh ]; then DEMO_SECONDS=$(DEMO_SECONDS) sh sim/demo.sh $(BUILD)/bin; \
	else $(BUILD)/bin/telem_json -v; fi

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
