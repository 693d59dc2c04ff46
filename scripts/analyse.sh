#!/usr/bin/env bash
# Static analysis of everything, tests included: shellcheck, pyflakes, clang's warnings and clang-tidy, gcc's analyzer
# (of the component and its drive library) and cppcheck. Whatever one of them says is a failure.
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

# Nothing of this preset is built: clang-tidy shows clang's warnings, too.
cmake --preset tidy >/dev/null
sed -n 's/^ *"file": "\(.*\)".*/\1/p' build/tidy/compile_commands.json | sort -u |
  xargs -n 1 -P "$(nproc)" clang-tidy -p build/tidy --quiet 2>&1 | { grep -v '^[0-9]* warnings\? generated' || true; }

cmake --preset analyzer >/dev/null
cmake --build --preset analyzer

# Its remarks on style are for what ships.
look() {
  cppcheck --project=build/tidy/compile_commands.json --std=c++20 --suppressions-list=cmake/cppcheck-suppressions.txt \
    --inline-suppr --error-exitcode=1 --template=gcc --quiet -j "$(nproc)" "$@"
}
look -itests --enable=warning,style,performance,portability
look --file-filter='*tests/*' --library=googletest --enable=warning,performance,portability
