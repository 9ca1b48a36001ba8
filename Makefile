# libkel: `make demo` and `make check` set up a fresh Debian machine and build.
BUILD      ?= build
DEMO_BUILD ?= build-demo
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
FUZZ_SECONDS ?= 30
JOBS       ?= $(shell nproc)
SUDO       := $(shell [ "$$(id -u)" = 0 ] || echo sudo)

# Debian packages the library and kel-json need to build; the test suite
# adds GoogleTest, clang for the fuzzers, the locale sources (a test
# generates a comma-decimal locale with localedef) and Doxygen (`make docs`).
BUILD_PACKAGES := g++ cmake ninja-build pkg-config libglib2.0-dev
TEST_PACKAGES  := libgtest-dev clang libclang-rt-14-dev locales doxygen
PACKAGES       := $(BUILD_PACKAGES) $(TEST_PACKAGES)

.PHONY: all deps demo-deps build build-asan build-tsan check docs fuzz demo clean

all: build

# $(call install-missing,PACKAGES): apt-get install those of PACKAGES that are missing.
define install-missing
	@missing=""; for p in $(1); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  $(SUDO) apt-get update -q && $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y -q $$missing; \
	fi
endef

deps:
	$(call install-missing,$(PACKAGES))

demo-deps:
	$(call install-missing,$(BUILD_PACKAGES))

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

$(ASAN_BUILD)/build.ninja:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKEL_SANITIZE=ON

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

build-asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)

$(TSAN_BUILD)/build.ninja:
	cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_C_FLAGS=-fsanitize=thread -DCMAKE_CXX_FLAGS=-fsanitize=thread \
	  -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread

# Only the threaded tests run under ThreadSanitizer.
build-tsan: deps $(TSAN_BUILD)/build.ninja
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target test_threads

# The HTML reference from the public headers; any Doxygen warning (an export
# without its comment, a wrong @param) fails it. Output: $(BUILD)/docs/html.
docs: deps $(BUILD)/build.ninja
	cmake -S . -B $(BUILD)
	cmake --build $(BUILD) --target docs

check: build build-asan build-tsan docs
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)
	G_SLICE=always-malloc TSAN_OPTIONS=halt_on_error=1 $(TSAN_BUILD)/tests/test_threads
	@if command -v clang++ >/dev/null; then FUZZ_SECONDS=$(FUZZ_SECONDS) fuzz/run.sh; \
	  else echo "clang not available: fuzz run skipped"; fi

# Fuzz every target; FUZZ_SECONDS=600 for a long run.
fuzz: deps
	FUZZ_SECONDS=$(FUZZ_SECONDS) fuzz/run.sh

# Runs kel-demo and kel-json on the documents under examples/, echoing each
# command. A build of its own without the tests, so that it needs only the
# build packages.
$(DEMO_BUILD)/build.ninja:
	cmake -S . -B $(DEMO_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEL_BUILD_TESTS=OFF

demo: demo-deps $(DEMO_BUILD)/build.ninja
	cmake --build $(DEMO_BUILD) -j $(JOBS)
	@sh examples/demo.sh $(DEMO_BUILD)

# `make bench`: libkel against jansson, json-c, json-glib, cJSON and RapidJSON
# on ../shared/corpus
# (Release build; BENCH_ARGS passes options, e.g. --benchmark_repetitions=9).
# `make profile`: callgrind profiles of libkel's parser and serializer.
BENCH_BUILD      ?= build-bench
BENCH_ARGS       ?=
BENCH_PACKAGES   := libbenchmark-dev libjansson-dev libjson-c-dev libjson-glib-dev \
                    libcjson-dev rapidjson-dev
PROFILE_PACKAGES := valgrind

.PHONY: bench bench-deps profile profile-deps

bench-deps:
	$(call install-missing,$(PACKAGES) $(BENCH_PACKAGES))

profile-deps:
	$(call install-missing,$(PACKAGES) $(BENCH_PACKAGES) $(PROFILE_PACKAGES))

$(BENCH_BUILD)/build.ninja:
	cmake -S bench -B $(BENCH_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release

bench: bench-deps $(BENCH_BUILD)/build.ninja
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target kel-bench
	$(BENCH_BUILD)/kel-bench $(BENCH_ARGS)

profile: profile-deps $(BENCH_BUILD)/build.ninja
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target kel-profile-driver
	bench/profile.sh $(BENCH_BUILD)

clean:
	rm -rf $(BUILD) $(DEMO_BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(BENCH_BUILD) build-fuzz
