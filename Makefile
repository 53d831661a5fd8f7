# Quick start: `make demo` and `make test`. Each installs missing Debian packages first.
SHELL := /bin/bash
PACKAGES := cmake g++ make pkg-config liblapack-dev libgtest-dev libbenchmark-dev clang clang-format libclang-rt-14-dev python3-vtk9 python3-meshio gmsh

.PHONY: all deps demo test test-gcc test-clang format-check consumer bench fuzz clean

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

# Each libFuzzer target of tests/fuzz for FUZZ_SECONDS, from its seeds in
# tests/fuzz/corpus/<name> and with the tokens of tests/fuzz/<name>.dict; new
# inputs go to build/fuzz/corpus/<name>, and an input that fails is kept as
# build/fuzz/findings/<name>-crash-*.
FUZZ_SECONDS ?= 600
fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz
	@for f in build/fuzz/tests/fuzz/*_fuzz; do \
	  name=$$(basename $$f _fuzz); \
	  mkdir -p build/fuzz/corpus/$$name build/fuzz/findings; \
	  dict=""; [ -f tests/fuzz/$$name.dict ] && dict="-dict=tests/fuzz/$$name.dict"; \
	  echo "== $$name for $(FUZZ_SECONDS) s"; \
	  $$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 $$dict -artifact_prefix=build/fuzz/findings/$$name- \
	    build/fuzz/corpus/$$name tests/fuzz/corpus/$$name || exit 1; \
	done

clean:
	rm -rf build
