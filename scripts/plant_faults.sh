#!/usr/bin/env bash
# Plants the faults listed in scripts/faults/*.tsv one at a time and checks that the tests named
# for each one fail. Works on a copy of the tree (build/faults/tree, built in build/faults/build);
# the working tree it is run from is never changed.
#
#   scripts/plant_faults.sh                 every fault
#   scripts/plant_faults.sh --only '^json-' the faults whose id matches a regex
#   scripts/plant_faults.sh --list          list the faults, plant nothing
#
# A fault line: id, file, sed expression, ctest regex, description, separated by single TABs;
# lines starting with # are comments. Results: CAUGHT (a named test failed), NOT-CAUGHT,
# NOT-CAUGHT-BUILD-ERROR (a fault must compile to mean anything), NOT-APPLIED (the sed changed
# nothing). Exits non-zero unless every fault is caught.
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
only='' list=0
while [ $# -gt 0 ]; do
  case $1 in
    --only) only=${2:?--only needs a regex}; shift 2 ;;
    --list) list=1; shift ;;
    -h | --help) sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
done

# The selected faults, one TAB-separated line each.
faults=()
for table in "$root"/scripts/faults/*.tsv; do
  while IFS= read -r line || [ -n "$line" ]; do
    [[ -z $line || $line == \#* ]] && continue
    IFS=$'\t' read -r id file expr regex description <<<"$line"
    if [ -z "$description" ]; then echo "$table: malformed line: $line" >&2; exit 2; fi
    [[ -n $only && ! $id =~ $only ]] && continue
    faults+=("$line")
  done <"$table"
done
if [ "${#faults[@]}" -eq 0 ]; then echo "no faults selected" >&2; exit 2; fi
if [ "$list" -eq 1 ]; then
  for line in "${faults[@]}"; do
    IFS=$'\t' read -r id file expr regex description <<<"$line"
    printf '%-36s %-55s %s\n' "$id" "$file" "$description"
  done
  exit 0
fi

tree=$root/build/faults/tree
build=$root/build/faults/build
log=$root/build/faults/log
mkdir -p "$tree" "$log"

# Copy the tree (tracked and untracked, not ignored). Only files whose content differs are
# copied, so they get a fresh time stamp and the build sees exactly what changed, including a
# file restored after an earlier, interrupted run.
listing=$log/files
(cd "$root" && git ls-files -co --exclude-standard | sort -u) >"$listing"
while IFS= read -r f; do
  [ -f "$root/$f" ] || continue
  if ! cmp -s "$root/$f" "$tree/$f"; then
    mkdir -p "$(dirname "$tree/$f")" && cp "$root/$f" "$tree/$f"
  fi
done <"$listing"
(cd "$tree" && find . -type f | sed 's|^\./||' | sort | comm -23 - "$listing" | xargs -r -d '\n' rm -f)

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
echo "configuring and building the copy in $build"
cmake -S "$tree" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DMEDIASTORES_BUILD_BENCH=OFF "${launcher[@]}" >"$log/configure.txt" 2>&1 &&
  cmake --build "$build" -j2 >"$log/build.txt" 2>&1 ||
  { echo "the unchanged copy does not build: see $log/build.txt" >&2; exit 2; }

# Every named test must exist and pass before anything is planted. A fault rebuilds only the
# test programs that hold its named tests (and what they depend on).
regexes=() targets=()
for line in "${faults[@]}"; do
  IFS=$'\t' read -r id file expr regex description <<<"$line"
  programs=$(ctest --test-dir "$build" -N -V -R "$regex" |
    sed -n 's|^[0-9]*: Test command: \([^ ]*\).*|\1|p' | xargs -r -n1 basename | sort -u)
  if [ -z "$programs" ]; then echo "$id: no test matches '$regex'" >&2; exit 2; fi
  regexes+=("($regex)")
  # A test run by a script (bash, python3) may use any program of the build: build everything.
  if grep -qv '^mediastores' <<<"$programs"; then programs=all; fi
  targets+=("$(echo $programs)")
done
all=$(IFS='|'; echo "${regexes[*]}")
ctest --test-dir "$build" -j2 --timeout 300 -R "$all" >"$log/baseline.txt" 2>&1 ||
  { echo "named tests fail without any fault: see $log/baseline.txt" >&2; exit 2; }

results=() missed=0
for i in "${!faults[@]}"; do
  IFS=$'\t' read -r id file expr regex description <<<"${faults[$i]}"
  echo "planting $id" >&2
  target=$tree/$file saved=$log/$id.orig catcher='-'
  if [ ! -f "$target" ]; then
    missed=$((missed + 1)) && results+=("$id"$'\t'"$description"$'\t-\tNOT-APPLIED') && continue
  fi
  cp -p "$target" "$saved"
  sed -i -e "$expr" "$target"
  if cmp -s "$target" "$saved"; then
    result=NOT-APPLIED
  elif ! cmake --build "$build" -j2 --target ${targets[$i]} >"$log/$id.build.txt" 2>&1; then
    result=NOT-CAUGHT-BUILD-ERROR
  elif ctest --test-dir "$build" -j2 --timeout 300 -R "$regex" >"$log/$id.ctest.txt" 2>&1; then
    result=NOT-CAUGHT
  else
    result=CAUGHT
    catcher=$(awk '/tests FAILED:/ { f = 1; next }
                   f && / - / { sub(/^[ \t]*[0-9]+ - /, ""); sub(/ \(.*\)$/, ""); print }' \
      "$log/$id.ctest.txt" | paste -sd, -)
  fi
  # Restored as a new file, so that the next build compiles it again.
  cp "$saved" "$target" && rm -f "$saved"
  [ "$result" = CAUGHT ] || missed=$((missed + 1))
  results+=("$id"$'\t'"$description"$'\t'"$catcher"$'\t'"$result")
done
echo "bringing the copy's build back to the unchanged tree" >&2
cmake --build "$build" -j2 >"$log/build.txt" 2>&1

printf '%s\n' "id | description | catching test | result"
for r in "${results[@]}"; do
  IFS=$'\t' read -r id description catcher result <<<"$r"
  printf '%s | %s | %s | %s\n' "$id" "$description" "$catcher" "$result"
done
echo "${#results[@]} faults, $missed not caught"
[ "$missed" -eq 0 ]
