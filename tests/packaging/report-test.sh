#!/usr/bin/env bash
# The report page in a browser: sorting, filtering, light and dark, a phone's width, and paper.
# With PICTURES set to a folder, screenshots are left there.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

here=$(cd "$(dirname "$0")" && pwd)

# Documents of several simulated servers, as a data centre would collect them.
# server NAME SCENARIO OPTION
server() {
  cp "$build/simulator/scenarios/$2.json" scenario.json
  ./nvmepcissd "$3" -o "$scratch/documents/$1.xml"
}
mkdir "$scratch/documents" "$scratch/component"
cp "$build/nvmepcissd" "$build/librbkl.so.0" "$scratch/component"
cp -r "$build"/simulator/{libnvme.so,package.xml,fwkitinstall.sh,payload} "$scratch/component"
cd "$scratch/component"
server rack1-node1 three-drives -i
server rack1-node2 revision-unreadable -i
server rack1-node3 unknown-model -i
server rack2-node1 one-refuses -u
server rack2-node1-after one-refuses -i
rm -f nvme-state.json
server rack2-node2 odd-texts -i
server rack2-node3 three-hundred-drives -i

cd "$scratch/documents"
"$build/nvmepcissd-tool" report -o "$scratch/report.html" -- *.xml || fail "a document was not read"
python3 "$here/large_document.py" 100000 >"$scratch/large.xml"
"$build/nvmepcissd-tool" report -o "$scratch/large.html" "$scratch/large.xml"
python3 "$here/report_test.py" "$scratch/report.html" "$scratch/large.html" "${PICTURES:-}"
