# libkel: `make demo` and `make check` set up a fresh Debian machine and build.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
SUDO       := $(shell [ "$$(id -u)" = 0 ] || echo sudo)

# Debian packages the build and the test suite need.
PACKAGES := g++ cmake ninja-build pkg-config libglib2.0-dev libgtest-dev

.PHONY: all deps build build-asan check demo clean

all: build

deps:
	@missing=""; for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  $(SUDO) apt-get update -q && $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y -q $$missing; \
	fi

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

$(ASAN_BUILD)/build.ninja:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKEL_SANITIZE=ON

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

build-asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)

check: build build-asan
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

demo: build
	$(BUILD)/examples/kel-demo

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
