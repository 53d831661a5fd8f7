# Quick start: `make demo` and `make test`. Each installs missing Debian packages first.
SHELL := /bin/bash
PACKAGES := cmake g++ make pkg-config liblapack-dev libgtest-dev libbenchmark-dev clang clang-format

.PHONY: all deps demo test test-gcc test-clang format-check consumer bench clean

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

# The whole CI: formatting, the suite under the sanitizers (GCC), the suite
# optimised by clang, and the library used as a package three ways.
test: deps format-check test-gcc test-clang consumer

format-check: deps
	find include src tests bench examples \( -name '*.cpp' -o -name '*.hpp' \) -print0 | xargs -0 clang-format --dry-run --Werror

test-gcc: deps
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

test-clang: deps
	cmake --preset clang
	cmake --build --preset clang
	ctest --preset clang

# Installs the release build into build/stage, then builds a separate project
# against the install, against the build tree, and through pkg-config.
consumer: deps
	cmake --preset release
	cmake --build --preset release
	rm -rf build/stage
	cmake --install build/release --prefix build/stage
	examples/consumer/check_package.sh build/stage build/release

bench: deps
	cmake --preset bench
	cmake --build --preset bench
	@for b in build/bench/bench/*_bench; do echo "== $$b"; $$b --benchmark_counters_tabular=true || exit 1; done

clean:
	rm -rf build
