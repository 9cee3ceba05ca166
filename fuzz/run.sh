#!/usr/bin/env bash
# Builds a libFuzzer target with clang (-fsanitize=fuzzer,address,undefined) and runs it.
#
#   fuzz/run.sh <target> <seconds> [extra libFuzzer flags...]
#   fuzz/run.sh json_fuzz 600
#
# <target> is fuzz/<target>.cc. The seed corpus is tests/<area>/corpus for a target named
# <area>_fuzz; new inputs go to build/fuzz/<target>-corpus (the seeds stay untouched) and crash
# reproducers to build/fuzz/artifacts/. A found input is replayed with
#   build/fuzz/<target> <file>
# and belongs, once fixed, in the seed corpus as a regression input. Exit status: libFuzzer's
# (0 when the time ran out without a finding).
set -euo pipefail

if [ $# -lt 2 ]; then
  echo "usage: $0 <target> <seconds> [libFuzzer flags...]" >&2
  exit 2
fi
target=$1
seconds=$2
shift 2

root=$(cd "$(dirname "$0")/.." && pwd)
src="$root/fuzz/$target.cc"
if [ ! -f "$src" ]; then
  echo "no fuzz target $src" >&2
  exit 2
fi
out="$root/build/fuzz"
mkdir -p "$out/artifacts" "$out/$target-corpus"

# Library sources the target links: the JSON target needs only the JSON module.
case "$target" in
  json_fuzz) sources=("$root"/json/*.cc) ;;
  *) sources=("$root"/platform/*.cc "$root"/timers/*.cc "$root"/saferoutines/*.cc "$root"/json/*.cc
              "$root"/mediaengine/mediastores/src/config/*.cc "$root"/mediaengine/mediastores/src/stats/*.cc) ;;
esac

CXX=${CXX_FUZZ:-clang++}
echo "building $out/$target"
"$CXX" -std=c++17 -O1 -g -fno-omit-frame-pointer \
  -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all \
  -Wall -Wextra -Werror -DMEDIASTORES_BUILDING=1 \
  -I"$root/include" -I"$root" \
  "$src" "${sources[@]}" -lpthread -o "$out/$target"

seeds="$root/tests/${target%_fuzz}/corpus"
corpora=("$out/$target-corpus")
if [ -d "$seeds" ]; then corpora+=("$seeds"); fi

echo "fuzzing $target for $seconds s"
exec "$out/$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
  -artifact_prefix="$out/artifacts/$target-" "$@" "${corpora[@]}"
