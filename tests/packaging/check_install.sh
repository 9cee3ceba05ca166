#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs a separate consumer project
# against it twice: through find_package(mediastores CONFIG) and through pkg-config.
# Usage: check_install.sh <build dir> <consumer source dir> <c++ compiler> [extra flags]
set -eu
build_dir=$1
consumer_src=$2
cxx=$3
flags=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null

cmake -S "$consumer_src" -B "$work/consumer" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/consumer"

libdir=$(dirname "$(find "$work/prefix" -name mediastores.pc | head -n 1)")
export PKG_CONFIG_PATH="$libdir"
# shellcheck disable=SC2046
"$cxx" $flags "$consumer_src/main.cc" -o "$work/consumer-pc" $(pkg-config --cflags --libs mediastores)
LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/consumer-pc"
echo "installed package works through CMake and pkg-config"
