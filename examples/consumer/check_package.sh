#!/usr/bin/env bash
# Uses the library the ways a consumer does, each time checking that version()
# equals the version that the package announces:
#   1. find_package against an install (prefix $1);
#   2. find_package against the build tree ($2);
#   3. pkg-config against the same install copied elsewhere, which proves the
#      .pc file relocatable and its flags sufficient.
set -euo pipefail
stage=$(realpath "$1") tree=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
work=$(realpath "$(dirname "$stage")")/consumer
rm -rf "$work" && mkdir -p "$work"

libdir=$(find "$stage" -name 'libcellworks.so' -printf '%h\n' | head -n 1)
run_with() { LD_LIBRARY_PATH="$1" "${@:2}"; }

echo "== CMake package, installed"
cmake -S "$here" -B "$work/installed" -DCMAKE_PREFIX_PATH="$stage" >/dev/null
cmake --build "$work/installed" >/dev/null
run_with "$libdir" "$work/installed/consumer"

echo "== CMake package, build tree"
cmake -S "$here" -B "$work/tree" -Dcellworks_DIR="$tree" >/dev/null
cmake --build "$work/tree" >/dev/null
"$work/tree/consumer"

echo "== pkg-config, install moved"
moved="$work/moved"
cp -a "$stage" "$moved"
pcdir=$(dirname "$(find "$moved" -name cellworks.pc | head -n 1)")
export PKG_CONFIG_PATH="$pcdir"
version=$(pkg-config --modversion cellworks)
cflags=$(pkg-config --cflags cellworks)
libs=$(pkg-config --libs cellworks)
case "$cflags $libs" in *"$moved"*) ;; *) echo "cellworks.pc does not follow the moved install: $cflags $libs" >&2; exit 1 ;; esac
case "$cflags" in *-std=*) echo "cellworks.pc forces a language standard: $cflags" >&2; exit 1 ;; esac
${CXX:-c++} -std=c++20 $cflags -DEXPECTED_VERSION="\"$version\"" "$here/main.cpp" $libs -o "$work/pkgconfig_consumer"
run_with "$(pkg-config --variable=libdir cellworks)" "$work/pkgconfig_consumer"

echo "== add_subdirectory in a parent project (configure only)"
# The parent's build type stays its own, and warnings are not made errors.
src=$(cd "$here/../.." && pwd)
mkdir -p "$work/parent"
cat >"$work/parent/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
add_subdirectory("$src" cellworks)
add_executable(parent_app "$here/main.cpp")
target_link_libraries(parent_app PRIVATE tq5::cellworks)
CMAKE
for type in Debug ""; do
    rm -rf "$work/parent/build"
    cmake -S "$work/parent" -B "$work/parent/build" -DCMAKE_BUILD_TYPE="$type" >/dev/null
    got=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$work/parent/build/CMakeCache.txt")
    werror=$(sed -n 's/^CELLWORKS_WERROR:BOOL=//p' "$work/parent/build/CMakeCache.txt")
    [ "$got" = "$type" ] || { echo "the parent's build type '$type' became '$got'" >&2; exit 1; }
    [ "$werror" = OFF ] || { echo "warnings are errors in a parent project's build" >&2; exit 1; }
    [ ! -e "$work/parent/build/cellworks/tests" ] || { echo "tests configured in a parent project" >&2; exit 1; }
done
echo "parent: build type kept, no -Werror, no tests"
