#!/usr/bin/env bash
# Runs every test of the coverage build and shows what share of the lines and branches of each folder that ships they
# reach. build/coverage/files.txt has the figures of each source.
#   scripts/coverage.sh [--html]     with --html: a page for each source as well, in build/coverage/html/
# Exit status: 0 every folder reaches 98 % of its lines and 90 % of its branches; 1 one does not, or a test failed.
set -euo pipefail
cd "$(dirname "$0")/.."

readonly folders=(src cm_BackPlane cm_CMBaseUtils nvme_linux tool simulator)
readonly build=$PWD/build/coverage

scripts/install-packages.sh coverage

cmake --preset coverage >/dev/null
cmake --build --preset coverage
# The build runs the test programs to list their tests, and counts of an earlier build fit no other one.
rm -rf "$build/profiles"
# Release.* makes a release build and reads it: nothing there counts.
ctest --preset coverage -j "$(nproc)" -E '^Release\.' >"$build/tests.log" || {
  tail -n 30 "$build/tests.log"
  exit 1
}

llvm-profdata merge "$build"/profiles/*.profraw -o "$build/counts.profdata"
mapfile -t programs < <(find "$build" -type f -perm -u+x -not -path '*/CMakeFiles/*' \
  -exec grep --files-with-matches --text __llvm_covmap {} +)
report=("${programs[0]}" "${programs[@]/#/--object=}" --instr-profile="$build/counts.profdata" "${folders[@]/#/$PWD/}")
# The functions with "mismatched data" are inline ones that one program does not use and another one does.
llvm-cov report --show-branch-summary --show-region-summary=false "${report[@]}" >"$build/files.txt"
[ "${1:-}" != --html ] || llvm-cov show --format=html --show-branches=count --output-dir="$build/html" "${report[@]}"
llvm-cov export --summary-only "${report[@]}" >"$build/coverage.json" 2>/dev/null
python3 - "$build/coverage.json" "${folders[@]}" <<'END'
import json
import sys
from pathlib import Path

LEAST = {"lines": 98, "branches": 90}  # per cent

report, *folders = sys.argv[1:]
files = json.loads(Path(report).read_text())["data"][0]["files"]
failed = False
for folder in folders:
    summaries = [file["summary"] for file in files if Path(file["filename"]).is_relative_to(Path(folder).resolve())]
    line = f"{folder:15} {len(summaries):3} files"
    for kind, least in LEAST.items():
        count, covered = (sum(summary[kind][key] for summary in summaries) for key in ("count", "covered"))
        is_reached = count > 0 and 100 * covered >= least * count
        failed |= not is_reached
        line += f"  {kind} {100 * covered / max(count, 1):6.2f} % of {count:5}"
        line += "" if is_reached else f", less than {least} %"
    print(line)
sys.exit(failed)
END
