#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs a separate consumer project
# against it twice: through find_package(mediastores CONFIG) and through pkg-config (the consumer
# also includes nlohmann-json with `using json = nlohmann::json;` beside the umbrella header and
# checks the generated version header). Then runs the installed programs from the prefix without
# any library path set: they find libmediastores through their run path.
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

# C++17 comes from the targets' compile features, not from flags in the pkg-config file.
grep -q 'INTERFACE_COMPILE_FEATURES "cxx_std_17"' "$work"/prefix/lib*/cmake/mediastores/mediastoresTargets.cmake
libdir=$(dirname "$(find "$work/prefix" -name mediastores.pc | head -n 1)")
if grep -q -- '-std=' "$libdir/mediastores.pc"; then echo "mediastores.pc sets a -std= flag"; exit 1; fi
export PKG_CONFIG_PATH="$libdir"
# shellcheck disable=SC2046
"$cxx" $flags "$consumer_src/main.cc" "$consumer_src/json_clash.cc" -o "$work/consumer-pc" \
  $(pkg-config --cflags --libs mediastores)
LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/consumer-pc"

if [ -x "$work/prefix/bin/mediastores-demo" ]; then
  env -u LD_LIBRARY_PATH "$work/prefix/bin/mediastores-demo" --calls 2 --seconds 1 --quiet >/dev/null
  echo "installed mediastores-demo runs from the prefix"
fi
if [ -x "$work/prefix/bin/mediastores-config" ]; then
  env -u LD_LIBRARY_PATH "$work/prefix/bin/mediastores-config" --version
fi
echo "installed package works through CMake and pkg-config"
