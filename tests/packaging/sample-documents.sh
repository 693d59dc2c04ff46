#!/usr/bin/env bash
# Documents of several simulated servers, as a data centre would collect them. Arguments: build folder, folder to
# fill.
set -euo pipefail
build=$1 documents=$2
component=$(mktemp -d)
trap 'rm -rf "$component"' EXIT
mkdir -p "$documents"
cp "$build/nvmepcissd" "$build/librbkl.so.0" "$component"
cp -r "$build"/simulator/{libnvme.so,package.xml,fwkitinstall.sh,payload} "$component"
cd "$component"

# server NAME SCENARIO OPTION
server() {
  cp "$build/simulator/scenarios/$2.json" scenario.json
  ./nvmepcissd "$3" -o "$documents/$1.xml"
}
server rack1-node1 three-drives -i
server rack1-node2 revision-unreadable -i
server rack1-node3 unknown-model -i
server rack2-node1 one-refuses -u
server rack2-node1-after one-refuses -i
rm -f nvme-state.json
server rack2-node2 odd-texts -i
server rack2-node3 three-hundred-drives -i
