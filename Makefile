# Convenience front end over CMake. `make run` builds and runs the quarn tool, `make test` builds and
# runs the test suite; both configure a Release build with warnings as errors in ./build.
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS ?=

.PHONY: all configure build run test test-asan bench fuzz fuzz-smoke clean

all: build

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DQUARN_WERROR=ON $(CMAKE_ARGS)

configure: $(BUILD)/CMakeCache.txt

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/quarn --version

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# The same suite under AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer.
test-asan:
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DQUARN_WERROR=ON \
	    -DQUARN_SANITIZE=address,undefined $(CMAKE_ARGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1:abort_on_error=0 \
	UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	    ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

# Every fuzz target for FUZZ_SECONDS (default 20) each: clang, libFuzzer, ASan + UBSan, in ./build-fuzz.
FUZZ_SECONDS ?= 20
fuzz-smoke:
	FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) fuzz/run.sh all $(FUZZ_SECONDS)

# One target for a longer run: make fuzz TARGET=string_ops FUZZ_SECONDS=600
fuzz:
	FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) fuzz/run.sh $(TARGET) $(FUZZ_SECONDS)

bench: configure
	cmake --build $(BUILD) -j $(JOBS) --target bench
	@for b in $(BUILD)/bin/bench-*; do echo "== $$b"; $$b; done

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
