# Set-up commands for a fresh Debian machine (run as root, or with the packages of
# scripts/install-deps.sh already installed).
BUILD      ?= build
ASAN_BUILD ?= build-asan
ARMHF_BUILD ?= build-armhf
# The stripped armhf daemon must fit the router's 256 KiB budget.
ARMHF_SIZE_LIMIT ?= 262144
ROUTER_BUILD ?= build-router
PREFIX ?= $(CURDIR)/$(ROUTER_BUILD)/rootfs
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
# $(ARMHF_BUILD)/root/usr/sbin) and the unit tests, which run under qemu-arm. No host tools,
# no benchmarks.
armhf: armhf-deps
	cmake -S . -B $(ARMHF_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake \
		-DCMAKE_BUILD_TYPE=Router -DTELEM_TOOLS=OFF -DTELEM_BENCH=OFF >/dev/null
	cmake --build $(ARMHF_BUILD) -j$(JOBS) --target telem_json unit_tests
	cmake --install $(ARMHF_BUILD) --prefix $(CURDIR)/$(ARMHF_BUILD)/root >/dev/null
	@size=$$(wc -c <$(ARMHF_BUILD)/root/usr/sbin/telem_json); \
	echo "armhf daemon, stripped: $$size bytes of $(ARMHF_SIZE_LIMIT) ($(ARMHF_BUILD)/root/usr/sbin/telem_json)"; \
	if [ "$$size" -gt $(ARMHF_SIZE_LIMIT) ]; then \
		echo "armhf daemon is over its size limit of $(ARMHF_SIZE_LIMIT) bytes" >&2; exit 1; fi

# The daemon as it goes onto a device of this machine's kind: Router build type,
# stripped, laid out under the router root $(PREFIX) (usr/sbin/telem_json, the init
# script and its configuration).
install: deps
	cmake -S . -B $(ROUTER_BUILD) -DCMAKE_BUILD_TYPE=Router -DTELEM_TESTS=OFF -DTELEM_TOOLS=OFF >/dev/null
	cmake --build $(ROUTER_BUILD) -j$(JOBS) --target telem_json
	cmake --install $(ROUTER_BUILD) --prefix $(PREFIX)

# Every test: unit, end-to-end, simulator, schema, packaging and store tests on the
# normal build (the soak runs apart: make soak), a short run of every fuzz target, the
# unit suite of the 32-bit ARM build under qemu-arm, then the unit suite again under
# AddressSanitizer and UndefinedBehaviorSanitizer.
test: build armhf
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS) -LE soak
	cd $(ARMHF_BUILD) && ctest --output-on-failure -L unit
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DTELEM_SANITIZE=ON -DTELEM_TOOLS=OFF -DTELEM_BENCH=OFF >/dev/null
	cmake --build $(ASAN_BUILD) -j$(JOBS) --target unit_tests
	cd $(ASAN_BUILD) && ctest --output-on-failure -j$(JOBS) -L unit

bench: build
	$(BUILD)/bin/telem_bench

# --- demo: builds only what the demo runs; DEMO_TLS=1 publishes over mutual TLS ---
DEMO_TARGETS = telem_json nvram uci awsiotpub
DEMO_TLS ?= 0
demo: deps
	@echo "make demo: building only what the demo runs ($(DEMO_TARGETS)); the tests build under make test"
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j$(JOBS) --target $(DEMO_TARGETS)
	@DEMO_SECONDS=$(DEMO_SECONDS) DEMO_TLS=$(DEMO_TLS) sh sim/demo.sh $(BUILD)/bin

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(ARMHF_BUILD) $(ROUTER_BUILD)

# --- fuzzing ---
# libFuzzer targets (tests/fuzz) built with clang in their own build directory.
# `make fuzz` runs each for FUZZ_SECONDS; `make test` runs each for FUZZ_CI_SECONDS so
# that a new crash fails the build. FUZZ_CLOCK=cpu counts the budget in CPU seconds
# (FUZZ_NICE sets the targets' nice value), for long runs on a busy machine.
export FUZZ_CLOCK FUZZ_NICE
FUZZ_BUILD       ?= build-fuzz
FUZZ_SECONDS     ?= 60
FUZZ_CI_SECONDS  ?= 2
FUZZ_COV_BUILD   ?= build-fuzz-cov

.PHONY: fuzz fuzz-build fuzz-short fuzz-coverage

fuzz-build: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTELEM_FUZZ=ON -DTELEM_TOOLS=OFF -DTELEM_BENCH=OFF >/dev/null
	cmake --build $(FUZZ_BUILD) -j$(JOBS) --target fuzz_targets

fuzz: fuzz-build
	sh scripts/run-fuzz.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

fuzz-short: fuzz-build
	sh scripts/run-fuzz.sh $(FUZZ_BUILD) $(FUZZ_CI_SECONDS)

test: fuzz-short

# Line coverage of each target's files over its seeds and what `make fuzz` learned, in
# its own build (clang source-based coverage); not part of `make test`.
fuzz-coverage: deps
	JOBS=$(JOBS) sh scripts/fuzz-coverage.sh $(FUZZ_COV_BUILD) $(FUZZ_BUILD)

.PHONY: fuzz-clean
fuzz-clean:
	rm -rf $(FUZZ_BUILD) $(FUZZ_COV_BUILD)
clean: fuzz-clean

# --- soak ---
# Long runs kept apart from `make test` (ctest label soak).
.PHONY: soak
soak: build
	cd $(BUILD) && ctest --output-on-failure -L soak
