#!/usr/bin/env bash
# Static analysis of everything but the tests: shellcheck, clang's warnings, clang-tidy, gcc's analyzer and cppcheck.
# Whatever one of them says is a failure.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh analysis

shellcheck --severity=warning .ci/run scripts/*.sh simulator/*.sh
for preset in tidy analyzer; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
done
cppcheck --project=build/tidy/compile_commands.json --enable=warning,style,performance,portability --std=c++20 \
  --suppressions-list=cmake/cppcheck-suppressions.txt --inline-suppr --error-exitcode=1 --template=gcc --quiet -j "$(nproc)"
