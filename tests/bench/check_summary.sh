#!/usr/bin/env bash
# The benchmark summary judges goals from Google Benchmark results: a figure within its goal
# passes, one beyond it misses, one whose repetitions vary by more than 10% is not trusted, and
# --check turns anything but a pass into a non-zero exit status.
set -euo pipefail
summarize="$1"
dir="$(mktemp -d)"
trap 'rm -rf "$dir"' EXIT

# Median and coefficient of variation of one benchmark, as Google Benchmark reports them.
runs() {
  local name="$1" ns="$2" cv="$3"
  printf '{"name":"%s_median","run_name":"%s","run_type":"aggregate","aggregate_name":"median","cpu_time":%s,"real_time":%s,"time_unit":"ns"},\n' \
    "$name" "$name" "$ns" "$ns"
  printf '{"name":"%s_cv","run_name":"%s","run_type":"aggregate","aggregate_name":"cv","cpu_time":%s,"real_time":%s,"time_unit":"ns"}' \
    "$name" "$name" "$cv" "$cv"
}
{
  echo '{"context":{"num_cpus":2},"benchmarks":['
  runs BM_Get_Floor 10 0.01; echo ,
  runs BM_Get_Store 12 0.02; echo ,          # 1.2x, goal 1.3x: pass
  runs BM_SetChanged_Floor 10 0.01; echo ,
  runs BM_SetChanged_Store 25 0.01; echo ,   # 2.5x, goal 2x: miss
  runs BM_SetSame_Floor 10 0.01; echo ,
  runs BM_SetSame_Store 15 0.20              # 1.5x, goal 2x, but 20% cv: noisy
  echo ']}'
} >"$dir/store_bench.json"

out="$(python3 "$summarize" "$dir")"
fail() { echo "FAIL: $*"; echo "$out"; exit 1; }
grep -Eq '^  Get +12\.0 +10\.0 +1\.20x +<= 1\.3x +pass' <<<"$out" || fail "Get row not passed"
grep -Eq '^  Set, value changed, no observer .* 2\.50x +<= 2x +MISS' <<<"$out" || fail "miss not marked"
grep -Eq '^  Set, same value, no observer .* 1\.50x +<= 2x +NOISY +20%' <<<"$out" ||
  fail "noisy figure trusted"
grep -Eq 'goals: 1 pass, 1 miss, 1 noisy' <<<"$out" || fail "counts wrong"

if python3 "$summarize" "$dir" --check >/dev/null 2>&1; then fail "--check passed a miss"; fi
python3 "$summarize" "$dir" >/dev/null || fail "exit status without --check"
echo "summary marks and --check: ok"
