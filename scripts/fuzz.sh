#!/usr/bin/env bash
# Runs the fuzz targets one after another, each for SECONDS seconds, from the repository's inputs and what earlier
# runs have added in build/fuzz/grown/.
#   scripts/fuzz.sh SECONDS [target ...]
# An input that breaks something lands in build/fuzz/findings/ and makes the script fail. Once the defect is fixed, add
# the input to tests/fuzz/seeds/TARGET/ under a name that says what it is. Each target leaves a line of figures in
# build/fuzz/figures.txt.
set -euo pipefail
cd "$(dirname "$0")/.."

# The words that a target's inputs are made of, in tests/fuzz/dictionaries/, and how long an input may be, in bytes.
declare -A words=([descriptor]=xml [discovery]=discovery [extract]=xml [inventory]=xml [plugins]=xml [cli]=cli
  [supported]=xml [results]=xml [log]=log)
declare -A longest=([identity]=4608 [elf]=4096 [log]=8192)

seconds=${1:?usage: scripts/fuzz.sh SECONDS [target ...]}
[[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "fuzz.sh: no number of seconds: $seconds" >&2; exit 2; }
shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(descriptor discovery extract inventory plugins cli update identity sysfs uses
  supported results salvage elf script log verdict policy run lists)

scripts/install-packages.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

build=$PWD/build/fuzz
findings=$build/findings
mkdir -p "$findings"
# The targets read and write files: in memory, where there is a place for that.
export TMPDIR=${TMPDIR:-/tmp}
[ ! -w /dev/shm ] || TMPDIR=/dev/shm
TMPDIR=$(mktemp -d "$TMPDIR/nvmepcissd-fuzz-run-XXXXXX")
trap 'rm -rf "$TMPDIR"' EXIT

broken=0
for target in "${targets[@]}"; do
  grown=$build/grown/$target inputs=$build/inputs/$target log=$build/$target.log status=passed
  mkdir -p "$grown"
  rm -rf "$inputs"
  tests/fuzz/corpus.py unpack "$target" "$inputs"
  options=(-max_total_time="$seconds" -max_len="${longest[$target]:-2048}" -timeout=10 -rss_limit_mb=2048)
  [ -z "${words[$target]:-}" ] || options+=(-dict="$PWD/tests/fuzz/dictionaries/${words[$target]}.dict")
  "$build/fuzz_$target" "${options[@]}" -print_final_stats=1 -artifact_prefix="$findings/$target-" \
    "$grown" "$inputs" >"$log" 2>&1 || { status=BROKEN broken=1; tail -n 60 "$log"; }
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  reached=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -n 1)
  printf '%-11s %s  %s s  executions %s  %s\n' "$target" "$status" "$seconds" "${executions:-?}" "$reached" |
    tee -a "$build/figures.txt"
done
exit $broken
