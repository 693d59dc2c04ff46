#!/usr/bin/env bash
# The manual pages are well-formed, render, and name every option that the programs have.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

for page in "$root"/packaging/man/*; do
  mandoc -T lint -W warning "$page" || fail "mandoc complains about $page"
  mandoc -T utf8 "$page" | col -b >"$scratch/$(basename "$page").txt"
done
for subcommand in "" check show report; do
  # shellcheck disable=SC2086  # no subcommand is no word
  "$build/nvmepcissd-tool" $subcommand --help | grep -oE '(^|[ ,])--?[a-z][a-z-]*' | tr -d ' ,' | sort -u |
    while read -r option; do
      grep -qwF -- "$option" "$scratch/nvmepcissd-tool.1.txt" || fail "$option is not in the manual page"
    done
done
for option in -i -u -o -d -f -h; do
  grep -qE -- "^ +$option\b" "$scratch/nvmepcissd.8.txt" || fail "$option is not in nvmepcissd(8)"
done
