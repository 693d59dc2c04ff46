#!/usr/bin/env bash
# The example of docs/contracts/drive-library.md compiles as it stands there, and gives the document that the page shows.
# Arguments: repository, build folder.
set -euo pipefail
root=$1 build=$2
page=$root/docs/contracts/drive-library.md
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() { echo "FAILED: $*" >&2; exit 1; }

awk '/^```c$/ {inside = 1; next} /^```$/ {inside = 0} inside' "$page" >"$scratch/drives.c"
[ -s "$scratch/drives.c" ] || fail "no example in $page"
component=$scratch/component
mkdir "$component"
cp "$build/nvmepcissd" "$build/librbkl.so.0" "$component"
cp -r "$build"/simulator/{package.xml,fwkitinstall.sh,payload} "$component"
gcc -std=c11 -Wall -Wextra -Werror -shared -fPIC -o "$component/libnvme.so" "$scratch/drives.c"

cd "$component"
# The page breaks the document into lines, which the document itself has not.
awk '/^<\?xml/ {inside = 1} /^```$/ {inside = 0} inside' "$page" | tr -d '\n' >"$scratch/shown.xml"
./nvmepcissd -i -o "$scratch/inventory.xml"
cmp "$scratch/shown.xml" "$scratch/inventory.xml" || fail "the example gives another document than the page shows"
./nvmepcissd -u -o "$scratch/update.xml"
grep -q 'result = "true"' "$scratch/update.xml" || fail "the example does not take the firmware"
[ "$(ls rollback-partition)" = SampleFirmware.bin ] || fail "no rollback"
echo "the example behaves"
