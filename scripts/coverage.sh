#!/usr/bin/env bash
# Runs every test of the coverage build and shows which lines and branches of the component they reach.
#   scripts/coverage.sh [--html]     with --html: a page a file as well, in build/coverage/html/
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh coverage

cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j "$(nproc)" -E '^Release\.|Faults\.Descriptors' >build/coverage/tests.log || {
  tail -n 30 build/coverage/tests.log
  exit 1
}
pages=()
if [ "${1:-}" = --html ]; then
  mkdir -p build/coverage/html
  pages=(--html-details build/coverage/html/index.html)
fi
# Branches that only an exception takes (every call has one) are no decisions of the component.
report=(gcovr --root . --object-directory build/coverage --exclude-throw-branches --exclude-unreachable-branches
  --filter 'src/' --filter 'cm_BackPlane/src/' --filter 'cm_CMBaseUtils/src/')
"${report[@]}" --json build/coverage/coverage.json --txt build/coverage/lines.txt "${pages[@]}"
cat build/coverage/lines.txt
gcovr --root . --add-tracefile build/coverage/coverage.json --branches --print-summary \
  --fail-under-line 98 --fail-under-branch 90
