#!/usr/bin/env bash
# The manual pages are well-formed, render, and name every option that the programs have.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

for page in "$root"/packaging/man/*; do
  mandoc -T lint -W warning "$page" || fail "mandoc complains about $page"
  mandoc -T utf8 "$page" | col -b >"$scratch/$(basename "$page").txt"
done
subcommands=$("$build/nvmepcissd-tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
for subcommand in "" $subcommands; do
  # shellcheck disable=SC2086  # no subcommand is no word
  "$build/nvmepcissd-tool" $subcommand --help | grep -oE '(^|[ ,])--?[a-z][a-z0-9-]*' | tr -d ' ,' | sort -u |
    while read -r option; do
      grep -qwF -- "$option" "$scratch/nvmepcissd-tool.1.txt" || fail "$option is not in the manual page"
    done
done
# Every exit status that a subcommand's help names has an entry.
entries() { sed -n '/^\.Sh EXIT STATUS/,/^\.Sh EXAMPLES/s/^\.It \([0-9]*\)$/\1/p' "$root/packaging/man/$1"; }
for subcommand in $subcommands; do
  statuses=$("$build/nvmepcissd-tool" "$subcommand" --help | sed -n '/^Exit status:/,/^$/p' | grep -oE '\b[0-9]+ ' | tr -d ' ')
  [ -n "$statuses" ] || fail "the help of $subcommand names no exit status"
  for status in $statuses; do
    entries nvmepcissd-tool.1 | grep -qx "$status" || fail "status $status of $subcommand is not in the manual page"
  done
done

# Every exit status of the component, each as a run gives it, has an entry.
component=$scratch/component
mkdir "$component"
cp "$build/nvmepcissd" "$component"
ends_with() {
  local expected=$1 status=0
  shift
  (cd "$component" && "$@") >/dev/null 2>&1 || status=$?
  [ "$status" -eq "$expected" ] || fail "$*: status $status instead of $expected"
  entries nvmepcissd.8 | grep -qx "$status" || fail "status $status is not in nvmepcissd(8)"
}
ends_with 127 ./nvmepcissd -i
cp "$build/librbkl.so.0" "$build/simulator/fwkitinstall.sh" "$component"
ends_with 0 ./nvmepcissd -i
ends_with 1 ./nvmepcissd -u
echo 'extern "C" int NVMEDiscoverDrives() { throw 1; } extern "C" int NVMEGetDriveInfo; int NVMEGetDriveInfo = 0;
  extern "C" int NVMEUpdateFirmware; int NVMEUpdateFirmware = 0;' | "${CXX:-c++}" -x c++ -shared -fPIC -o "$component/libnvme.so" -
ends_with 134 ./nvmepcissd -i

for option in -i -u -o -d -f -h; do
  grep -qE -- "^ +$option\b" "$scratch/nvmepcissd.8.txt" || fail "$option is not in nvmepcissd(8)"
done
