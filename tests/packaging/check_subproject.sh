#!/usr/bin/env bash
# Checks how the project behaves inside another one and with testing switched off:
#  - added with add_subdirectory to a parent project (which enables its own testing), it builds
#    the library alone: no tests, tools, examples or benchmarks of ours, no -Werror forced on the
#    parent;
#  - at top level, BUILD_TESTING=OFF leaves the tests out.
# Usage: check_subproject.sh <source dir> <c++ compiler>
set -eu
src=$1
cxx=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "$*"; failures=$((failures + 1)); }

mkdir -p "$work/parent"
cat >"$work/parent/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.16)
project(parent LANGUAGES C CXX)
enable_testing()
add_subdirectory("$src" mediastores)
add_executable(parent_app main.cc)
target_link_libraries(parent_app PRIVATE mediastores::mediastores)
CMAKE
echo 'int main() { return 0; }' >"$work/parent/main.cc"
cmake -S "$work/parent" -B "$work/parent-build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
  -DBUILD_TESTING=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$work/parent.log" 2>&1 ||
  { cat "$work/parent.log"; exit 1; }
targets=$(cmake --build "$work/parent-build" --target help | cut -d: -f1)
ours=$(grep -E '^mediastores_.*(tests|bench|example)|^mediastores-(demo|config)$|^mediastores_test_support$' <<<"$targets" || true)
[ -z "$ours" ] || fail "a parent project got our extra targets: $(echo $ours)"
grep -q -- '-Werror' "$work/parent-build/compile_commands.json" && fail "-Werror forced on the parent"

cmake -S "$src" -B "$work/top" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" -DBUILD_TESTING=OFF \
  >"$work/top.log" 2>&1 || { cat "$work/top.log"; exit 1; }
grep -q '_tests:' <(cmake --build "$work/top" --target help) && fail "BUILD_TESTING=OFF still builds tests"
grep -q 'CMAKE_BUILD_TYPE:STRING=Release' "$work/top/CMakeCache.txt" ||
  fail "a top-level build without a build type is not Release"

[ "$failures" -eq 0 ] || exit 1
echo "subproject and BUILD_TESTING=OFF checks passed"
