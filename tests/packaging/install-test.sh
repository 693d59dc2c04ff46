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
  share/man/man1/nvmepcissd-tool.1.gz share/nvmepcissd/schema/package.xsd share/nvmepcissd/sample-package/package.xml share/nvmepcissd/sample-package/payload/SampleFirmware.bin \
  share/bash-completion/completions/nvmepcissd-tool share/doc/nvmepcissd/README.md; do
  [ -f "$scratch/first/$file" ] || fail "$file is not installed"
done
grep -q 'No licence has been chosen' "$scratch/first/share/doc/nvmepcissd/copyright" || fail "copyright file"

# Without the simulator, nothing simulated is there.
cmake --install "$build" --prefix "$scratch/runtime" --component runtime >/dev/null
[ "$(cd "$scratch/runtime/libexec/nvmepcissd" && echo *)" = "drive_library nvmepcissd" ] || fail "simulated things are there"
