#!/usr/bin/env bash
# What bash, zsh and fish offer after the beginning of a command line.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

completion=$root/packaging/completion
PATH=$build:$PATH
mkdir "$scratch/work"
cd "$scratch/work"
mkdir folder
touch verdict.json inventory.xml update.xml page.html notes.txt

# offered_by_SHELL WORD...: what completes the last word, in one line.
offered_by_bash() {
  bash --norc -c '
    . /usr/share/bash-completion/bash_completion
    . "$1"; shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
    _nvmepcissd_tool "$1"
    printf "%s\n" "${COMPREPLY[@]}" | sort | paste -sd " "
  ' bash "$completion/nvmepcissd-tool.bash" nvmepcissd-tool "$@"
}
# Without its descriptions, and without the slash after a folder.
offered_by_fish() {
  HOME=$scratch fish --no-config -c 'source $argv[1]; complete -C "$argv[2]"' \
    "$completion/nvmepcissd-tool.fish" "nvmepcissd-tool $*" | cut -f1 | sed 's|/$||' | sort -u | paste -sd " "
}
# The completion system of zsh runs in an interactive shell only. Here it calls the function with stand-ins for the two
# helpers that add matches, which print what they would add.
offered_by_zsh() {
  zsh -f -c '
    completion=$1; shift
    words=("$@") CURRENT=$# PREFIX=${@[-1]}
    _describe() { [[ $1 == -o ]] && shift; print -rl -- ${${(P)2}%%:*} }
    _files() {
      case $1 in
        -/) print -rl -- *(N/) ;;
        -g) print -rl -- *(N/) ${~2}(N) ;;
        *) print -rl -- *(N) ;;
      esac
    }
    run() { source $completion }
    run | grep -- "^$PREFIX" | sort | paste -sd " "
  ' zsh "$completion/_nvmepcissd-tool" nvmepcissd-tool "$@"
}

expect() {
  local expected=$1 shell found
  shift
  for shell in bash zsh fish; do
    found=$(offered_by_$shell "$@")
    [ "$found" = "$expected" ] || fail "$shell, after $*: \"$found\" instead of \"$expected\""
  done
}

# What the help text lists, taken apart in another way than the completions do.
section() { awk -v title="$1:" '$0 == title {inside = 1; next} /^$/ {inside = 0} inside {print $1}'; }
subcommands=$(nvmepcissd-tool --help | section Subcommands | sort | paste -sd " ")
[[ " $subcommands " == *" check "*"report "*"show "* ]] || fail "the help text lists no subcommands"
expect "$subcommands" ""
expect "check" ch
for subcommand in $subcommands; do
  options=$(nvmepcissd-tool "$subcommand" --help | section Options | tr , '\n' | grep ^-- | sort | paste -sd " ")
  [[ $options == *--help* ]] || fail "the help text of $subcommand lists no options"
  expect "$options" "$subcommand" --
done
expect "--failed" show --faile
expect "serial" show --sort s
expect "folder" check ""
expect "folder inventory.xml update.xml verdict.json" show ""
expect "inventory.xml" show update.xml inv
expect "folder inventory.xml notes.txt page.html update.xml verdict.json" report inventory.xml -o ""
expect "folder inventory.xml update.xml verdict.json" verify inventory.xml ""
expect "folder inventory.xml notes.txt page.html update.xml verdict.json" verify inventory.xml update.xml --log ""

# And in an interactive zsh, where there is a terminal for it.
zsh -f -c 'zmodload zsh/zpty && zpty probe true' 2>/dev/null || { echo "SKIPPED: zsh in a terminal, there is none"; exit 0; }
zsh -f -c '
  zmodload zsh/zpty
  zpty shell zsh -f -i
  zpty -w shell "PS1= TERM=dumb; fpath=($1 \$fpath); autoload -U compinit; compinit -u -D; unsetopt zle_bracketed_paste"
  zpty -w -n shell $'"'nvmepcissd-tool sho\\t--cs\\t\\n'"'
  while zpty -r -t shell line || (( waited++ < 100 )) && [[ $all != *"DOCUMENT is required"* ]]; do all+=$line line=; sleep 0.1; done
  print -r -- $all
' zsh "$completion" >"$scratch/interactive"
grep -q 'nvmepcissd-tool show.*--csv' "$scratch/interactive" ||
  { cat -v "$scratch/interactive" >&2; fail "interactive zsh does not complete"; }
