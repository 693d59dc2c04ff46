#!/usr/bin/env bash
# An installation into any prefix runs from where it stands, also after it was moved.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

cmake --install "$build" --prefix "$scratch/first" >/dev/null
try_component "$scratch/first"
cmake --install "$build" --prefix "$scratch/clean" >/dev/null
mv "$scratch/clean" "$scratch/moved"
try_component "$scratch/moved"

for file in libexec/nvmepcissd/drive_library/libnvme.so share/man/man8/nvmepcissd.8.gz \
  share/man/man1/nvmepcissd-tool.1.gz share/nvmepcissd/schema/package.xsd share/nvmepcissd/sample-package/package.xml share/nvmepcissd/sample-package/fwkitinstall.sh \
  share/bash-completion/completions/nvmepcissd-tool share/doc/nvmepcissd/README.md \
  share/ansible/collections/ansible_collections/nvmepcissd/fleet/plugins/modules/nvme_firmware.py; do
  [ -f "$scratch/first/$file" ] || fail "$file is not installed"
done
grep -q 'No licence has been chosen' "$scratch/first/share/doc/nvmepcissd/copyright" || fail "copyright file"

# Every link of the installed pages leads to an installed page, and the check notices a missing one.
pages=$scratch/first/share/doc/nvmepcissd
"$root/scripts/check-links.py" "$pages" || fail "broken links in the installed pages"
mv "$pages/docs/behaviour.md" "$pages/docs/renamed.md"
! "$root/scripts/check-links.py" "$pages" >"$scratch/links" || fail "the check of links misses a missing page"
grep -q '^README.md:[0-9]*: docs/behaviour.md leads nowhere$' "$scratch/links" || fail "the check of links names no place"

# The recipe of docs/packaging.md, with the simulator's files as the platform's, ends without a finding, apart from their
# origin.
component=$scratch/component
"$scratch/first/bin/nvmepcissd-tool" init "$component" >"$scratch/laid-out"
grep -q 'to-fill-in' "$scratch/laid-out" || fail "init does not say what is to be filled in"
cp "$scratch"/first/libexec/nvmepcissd/{libnvme.so,librbkl.so.0} "$component/"
printf 'firm\0\1\2\3' >"$component/payload/firmware.bin"
sed -i 's/FILL-IN/a801/g' "$component/package.xml"
chmod -R go-w "$component"
"$scratch/first/bin/nvmepcissd-tool" check --ignore simulator-part --ignore owner --ignore parent-writable \
  "$component" >"$scratch/findings" || { cat "$scratch/findings" >&2; fail "findings in the recipe's component folder"; }

# Without the simulator, nothing simulated is there.
cmake --install "$build" --prefix "$scratch/runtime" --component runtime >/dev/null
[ "$(cd "$scratch/runtime/libexec/nvmepcissd" && echo *)" = "drive_library nvmepcissd" ] || fail "simulated things are there"
