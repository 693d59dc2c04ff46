#!/usr/bin/env bash
# What bash offers behind a command line.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

cd "$scratch"
mkdir folder
touch verdict.json inventory.xml update.xml page.html notes.txt

# offered WORD...: the completions of the last word, in one line.
offered() {
  bash --norc -c '
    . /usr/share/bash-completion/bash_completion
    . "$1"; shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
    _nvmepcissd_tool
    printf "%s\n" "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd " "
  ' bash "$root/packaging/nvmepcissd-tool.bash-completion" nvmepcissd-tool "$@"
}
expect() {
  local expected=$1
  shift
  [ "$(offered "$@")" = "$expected" ] || fail "behind $*: \"$(offered "$@")\" instead of \"$expected\""
}

expect "--help --version check init report show" ""
expect "report" r
expect "folder" check ""
expect "--help --ignore --json --severity" check --
expect "error note warning" check --severity ""
expect "--help" init --
expect "folder inventory.xml update.xml verdict.json" show ""
expect "serial" show --sort s
expect "inventory.xml" show update.xml inv
expect "--columns --csv --fail-on-failed --failed --full --help --json --sort" show --
expect "--help --output" report --
expect "folder page.html" report inventory.xml -o ""
