#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds every example that has its own
# CMakeLists.txt against it with find_package(mediastores CONFIG REQUIRED) and runs it, and
# compiles and runs the config_module example with pkg-config's flags alone.
# Usage: check_examples.sh <build dir> <examples dir> <c++ compiler> [extra flags]
set -eu
build_dir=$1
examples=$2
cxx=$3
flags=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null

built=0
for dir in "$examples"/*/; do
  name=$(basename "$dir")
  [ -f "$dir/CMakeLists.txt" ] || continue
  cmake -S "$dir" -B "$work/$name" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
  cmake --build "$work/$name" >/dev/null
  "$work/$name/example_$name" >/dev/null
  echo "example $name: built against the installed package and ran"
  built=$((built + 1))
done
if [ "$built" -lt 2 ]; then
  echo "expected at least two examples with a CMakeLists.txt in $examples, found $built" >&2
  exit 1
fi

pc=$(find "$work/prefix" -name mediastores.pc | head -n 1)
libdir=$(dirname "$(dirname "$pc")")
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$pc")
# shellcheck disable=SC2046
"$cxx" $flags "$examples/config_module/main.cc" -o "$work/config_module-pc" \
  $(pkg-config --cflags --libs mediastores)
LD_LIBRARY_PATH="$libdir" "$work/config_module-pc" >/dev/null
echo "example config_module: compiled with pkg-config --cflags --libs mediastores and ran"
