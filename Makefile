# Set-up commands for a fresh Debian machine (run as root, or with the packages of
# scripts/install-deps.sh already installed).
BUILD      ?= build
ASAN_BUILD ?= build-asan
ARMHF_BUILD ?= build-armhf
ROUTER_BUILD ?= build-router
PREFIX ?= /usr/local
JOBS       ?= 2
DEMO_SECONDS ?= 0

.PHONY: all deps armhf-deps build armhf install test unit-asan demo format clean bench

all: build

deps:
	@sh scripts/install-deps.sh

armhf-deps:
	@sh scripts/install-armhf-deps.sh

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j$(JOBS)

# The router's 32-bit ARM build: the daemon (Router build type, installed stripped under
# $(ARMHF_BUILD)/root/bin) and the unit tests, which run under qemu-arm. No host tools,
# no benchmarks.
armhf: armhf-deps
	cmake -S . -B $(ARMHF_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake \
		-DCMAKE_BUILD_TYPE=Router -DTELEM_TOOLS=OFF -DTELEM_BENCH=OFF >/dev/null
	cmake --build $(ARMHF_BUILD) -j$(JOBS) --target telem_json unit_tests
	cmake --install $(ARMHF_BUILD) --prefix $(CURDIR)/$(ARMHF_BUILD)/root >/dev/null
	@echo "armhf daemon, stripped: $$(wc -c <$(ARMHF_BUILD)/root/bin/telem_json) bytes ($(ARMHF_BUILD)/root/bin/telem_json)"

# The daemon as it goes onto a device of this machine's kind: Router build type,
# stripped, into $(DESTDIR)$(PREFIX)/bin.
install: deps
	cmake -S . -B $(ROUTER_BUILD) -DCMAKE_BUILD_TYPE=Router -DTELEM_TESTS=OFF -DTELEM_TOOLS=OFF >/dev/null
	cmake --build $(ROUTER_BUILD) -j$(JOBS) --target telem_json
	cmake --install $(ROUTER_BUILD) --prefix $(PREFIX)

# Every test: unit, end-to-end and simulator tests on the normal build, the unit suite
# of the 32-bit ARM build under qemu-arm, then the unit suite again under
# AddressSanitizer and UndefinedBehaviorSanitizer.
test: build armhf
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)
	cd $(ARMHF_BUILD) && ctest --output-on-failure -L unit
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
	rm -rf $(BUILD) $(ASAN_BUILD) $(ARMHF_BUILD) $(ROUTER_BUILD)
