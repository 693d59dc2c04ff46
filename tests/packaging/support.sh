# shellcheck shell=bash
# Shared by the tests of this folder, which are called with the repository and the build folder.

set -euo pipefail
umask 022
export LC_ALL=C  # other languages have another order, and other messages
# shellcheck disable=SC2034  # for the tests that source this
root=$1 build=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() { echo "FAILED: $*" >&2; exit 1; }

# Makes the packages of a build, in the folder. Further arguments go to cpack.
make_packages() {
  local from=$1 to=$2
  shift 2
  (cd "$from" && cpack -B "$to" "$@" >"$scratch/cpack.log" 2>&1) || { cat "$scratch/cpack.log" >&2; fail "cpack"; }
  rm -rf "$to/_CPack_Packages"
}

# The names of the Debian packages in the working directory.
debian_names() {
  local package
  for package in *.deb; do dpkg-deb -f "$package" Package; done | sort | paste -sd " "
}

# Takes an inventory and updates in the component folder below PREFIX, with its own tool and schemas.
try_component() {
  local prefix=$1 folder=$1/libexec/nvmepcissd results
  results=$(mktemp -d -p "$scratch")
  (cd "$folder" && ./nvmepcissd -i -o "$results/inventory.xml" && ./nvmepcissd -u -o "$results/update.xml") ||
    fail "the component in $folder does not run"
  for kind in inventory update; do
    [ "$(xmllint --xpath 'count(//Device)' "$results/$kind.xml")" -eq 3 ] || fail "$kind: not three drives"
    xmllint --noout --schema "$prefix/share/nvmepcissd/schema/$kind.xsd" "$results/$kind.xml" 2>"$results/complaints" ||
      { cat "$results/complaints" >&2; fail "$kind: not valid"; }
  done
  "$prefix/bin/nvmepcissd-tool" show "$results"/*.xml | grep -q '2 documents, 6 records: 3 listed, 3 success, 0 failed' ||
    fail "the tool in $prefix does not show the documents"
  # The simulator's folder has one trap, to show what a finding looks like; everything else in it is simulated.
  "$prefix/bin/nvmepcissd-tool" check --ignore simulator-part --ignore payload-text --ignore owner \
    --ignore parent-writable "$folder" >"$results/findings" && fail "no finding in the simulator's folder"
  grep -q '0a54' "$results/findings" || fail "the trap went unnoticed"
  grep -qx '1 warning' "$results/findings" ||
    { cat "$results/findings" >&2; fail "other findings than expected in $folder"; }
}
