# Quick start: `make demo` and `make test`. Each installs missing Debian packages first.
SHELL := /bin/bash
PACKAGES := cmake g++ make pkg-config liblapack-dev libgtest-dev libbenchmark-dev

.PHONY: all deps demo test bench consumer clean

all: demo

deps:
	@missing=""; \
	for p in $(PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing missing packages:$$missing"; \
	  if [ "$$(id -u)" = 0 ]; then sudo=""; \
	  elif command -v sudo >/dev/null 2>&1; then sudo="sudo"; \
	  else echo "error: packages$$missing are missing; install them as root (apt-get install$$missing)" >&2; exit 1; fi; \
	  $$sudo apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$sudo apt-get install -y -qq $$missing \
	    || { echo "error: could not install$$missing" >&2; exit 1; }; \
	fi

demo: deps
	cmake --preset release
	cmake --build --preset release --target cellworks_demo
	./build/release/examples/cellworks_demo

test: deps
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan
	$(MAKE) --no-print-directory consumer

# Installs the release build into build/stage and builds a separate project against it.
consumer: deps
	cmake --preset release
	cmake --build --preset release
	cmake --install build/release --prefix build/stage
	cmake -S examples/consumer -B build/consumer -DCMAKE_PREFIX_PATH=$(CURDIR)/build/stage
	cmake --build build/consumer
	LD_LIBRARY_PATH=$(CURDIR)/build/stage/lib ./build/consumer/consumer

bench: deps
	cmake --preset bench
	cmake --build --preset bench
	@for b in build/bench/bench/*_bench; do echo "== $$b"; $$b --benchmark_counters_tabular=true || exit 1; done

clean:
	rm -rf build
