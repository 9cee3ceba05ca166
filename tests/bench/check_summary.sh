#!/usr/bin/env bash
# The benchmark summary judges goals from Google Benchmark results: a figure within its goal
# passes, one beyond it misses, one whose rounds vary by more than 10% is not trusted, a single
# disturbed round is left out of that judgement, and --check turns anything but a pass into a
# non-zero exit status.
set -euo pipefail
summarize="$1"
dir="$(mktemp -d)"
trap 'rm -rf "$dir"' EXIT

# One side-by-side benchmark's repetitions, as Google Benchmark writes them: per round, the
# store's and the floor's nanoseconds per operation ("STORE/FLOOR").
runs() {
  local name="$1" index=0 sep=""
  shift
  for pair in "$@"; do
    printf '%s{"name":"%s","run_name":"%s","run_type":"iteration","repetition_index":%d,"ns:store":%s,"ns:floor":%s}' \
      "$sep" "$name" "$name" "$index" "${pair%/*}" "${pair#*/}"
    sep=","
    index=$((index + 1))
  done
}
{
  echo '{"context":{"num_cpus":2},"benchmarks":['
  # 1.2x, goal 1.3x, one round disturbed (3x): pass, the round left out.
  runs BM_Get 12/10 12/10 12/10 12/10 12/10 12/10 12/10 12/10 12/10 30/10; echo ,
  # 2.5x, goal 2x: miss.
  runs BM_SetChanged 25/10 25/10 25/10 25/10; echo ,
  # The whole machine slows in rounds 2 and 3: the rounds' ratios stay 1.5x, goal 2x: pass.
  runs BM_SetSame 15/10 15/10 30/20 30/20 15/10 15/10; echo ,
  # 1.5x, goal 2x, but the rounds' ratios go 1.2x, 1.8x: noisy.
  runs BM_SetNewKeyAndRemove 12/10 18/10 12/10 18/10 12/10 18/10
  echo ']}'
} >"$dir/store_bench.json"

out="$(python3 "$summarize" "$dir")"
fail() { echo "FAIL: $*"; echo "$out"; exit 1; }
grep -Eq '^  Get +12\.0 +10\.0 +1\.20x +<= 1\.3x +pass +0% +1/10$' <<<"$out" ||
  fail "Get row not passed with its disturbed round left out"
grep -Eq '^  Set, value changed, no observer .* 2\.50x +<= 2x +MISS' <<<"$out" || fail "miss not marked"
grep -Eq '^  Set, same value, no observer .* 1\.50x +<= 2x +pass +0%' <<<"$out" ||
  fail "a slowdown of the whole machine taken for noise"
grep -Eq '^  Set new key \+ remove it, no observer .* 1\.50x +<= 2x +NOISY +22%' <<<"$out" ||
  fail "noisy figure trusted"
grep -Eq 'goals: 2 pass, 1 miss, 1 noisy' <<<"$out" || fail "counts wrong"

if python3 "$summarize" "$dir" --check >/dev/null 2>&1; then fail "--check passed a miss"; fi
python3 "$summarize" "$dir" >/dev/null || fail "exit status without --check"
echo "summary marks and --check: ok"
