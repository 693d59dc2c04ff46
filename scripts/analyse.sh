#!/usr/bin/env bash
# Static analysis: shellcheck and pyflakes of all scripts, the tests' included; of everything else but the tests clang's
# warnings, clang-tidy, gcc's analyzer and cppcheck. Whatever one of them says is a failure.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh analysis

# Tracked files whose name or first line matches.
scripts_by() {
  git ls-files -z | xargs -0 awk -v name="$1" -v interpreter="$2" \
    'FNR == 1 && (FILENAME ~ name || $0 ~ "^#!.*" interpreter) { print FILENAME } { nextfile }'
}
mapfile -t shell < <(scripts_by '[.]sh$' 'sh$')
shellcheck --severity=warning "${shell[@]}"
mapfile -t python < <(scripts_by '[.]py$' 'python3$')
pyflakes3 "${python[@]}"

for preset in tidy analyzer; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
done
cppcheck --project=build/tidy/compile_commands.json --enable=warning,style,performance,portability --std=c++20 \
  --suppressions-list=cmake/cppcheck-suppressions.txt --inline-suppr --error-exitcode=1 --template=gcc --quiet -j "$(nproc)"
