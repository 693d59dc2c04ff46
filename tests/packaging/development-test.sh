#!/usr/bin/env bash
# The example of the development package builds with the installed headers alone, and the component runs with it.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

cmake --install "$build" --prefix "$scratch/development" --component development >/dev/null
cp -r "$scratch/development/share/doc/nvmepcissd-dev/example" "$scratch/example"
export PKG_CONFIG_PATH=$scratch/development/share/pkgconfig
(cd "$scratch/example" && CXXFLAGS=-Werror make) >"$scratch/make.log" 2>&1 || { cat "$scratch/make.log" >&2; fail "the example"; }
grep -qF -- "-I$scratch/development" "$scratch/make.log" || grep -qF -- "/include/nvmepcissd" "$scratch/make.log" ||
  fail "the example was not built with the installed headers"

cmake --install "$build" --prefix "$scratch/installed" >/dev/null
component=$scratch/installed/libexec/nvmepcissd
cp "$scratch/example"/{libnvme.so,librbkl.so.0} "$component"
(cd "$component" && ./nvmepcissd -u -o "$scratch/update.xml")
xmllint --noout --schema "$root/docs/schema/update.xsd" "$scratch/update.xml" 2>/dev/null || fail "the document is not valid"
grep -q 'enum = "Serial Number: EX0001".*version="EXA10100".*result = "true"' "$scratch/update.xml" ||
  { cat "$scratch/update.xml" >&2; fail "the example's drive is not in the document"; }
cmp "$component/rollback/SampleFirmware.bin" "$component/payload/SampleFirmware.bin" || fail "the example keeps no payload"
