#!/usr/bin/env bash
# Builds the component, stages a component folder with the simulator's drives and runs its main jobs there.
# Changes nothing outside this clone, except that it installs packages.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

bold='' plain=''
if [ -t 1 ]; then bold=$'\033[1m' plain=$'\033[0m'; fi
say() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }
run() { printf '$ %s\n' "$*"; "$@"; }
pretty() { xmllint --format "$1"; }

say "Packages: compiler, CMake, libxml2 and what the simulator and the tool need"
scripts/install-packages.sh demo

say "Build: the release preset, into build/release/"
mkdir -p build
cmake --preset release >build/demo-build.log 2>&1 || { cat build/demo-build.log; exit 1; }
cmake --build --preset release >>build/demo-build.log 2>&1 || { cat build/demo-build.log; exit 1; }

component=build/demo/component
say "Stage: a component folder with executable, descriptor, libraries, install script and payload"
rm -rf build/demo
mkdir -p $component/support $component/lib
cp build/release/nvmepcissd build/release/librbkl.so.0 $component/
cp build/release/simulator/{libnvme.so,package.xml,fwkitinstall.sh} $component/
cp build/release/simulator/libkvrpm.so $component/support/
cp -r build/release/simulator/payload $component/
scenario() { cp "build/release/simulator/scenarios/$1.json" "$component/scenario.json"; }
scenario three-drives
(cd $component && find . -type f | sort)
component=$root/$component
cd "$component"
# Where the install script puts the hardware-access library, and where the loader finds it then.
export FWKIT_INSTALL_DIR=$component/lib LD_LIBRARY_PATH=$component/lib

say "Inventory to standard output, formatted for reading"
echo '$ ./nvmepcissd -i | xmllint --format -'
./nvmepcissd -i | xmllint --format -

say "Inventory to a file: the document as it is, on one line"
run ./nvmepcissd -i -o inventory.xml
cat inventory.xml; echo

say "Inventory with a debug log: its last lines"
run ./nvmepcissd -i -o inventory.xml -d
tail -n 12 debug.log

say "Update: flash the one payload file onto every drive"
run ./nvmepcissd -u -o update.xml
pretty update.xml

say "Kept for rollback"
run ls -l rollback-partition

say "Inventory again: the new revisions"
echo '$ ./nvmepcissd -i | xmllint --format - | grep -o "<Application.*"'
./nvmepcissd -i | xmllint --format - | grep -o "<Application.*"

say "Update with one drive of three refusing: the exit status is 0 all the same, the document has the failure"
cd "$root"; scenario one-refuses; rm -f "$component/nvme-state.json"; cd "$component"
status=0
run ./nvmepcissd -u -o update.xml -d || status=$?
echo "exit status $status"
pretty update.xml
grep -aE 'ERROR|drives updated' debug.log

say "The same documents as tables: nvmepcissd-tool"
PATH=$root/build/release:$PATH
run nvmepcissd-tool show update.xml
./nvmepcissd -i -o inventory.xml
run nvmepcissd-tool show inventory.xml
run nvmepcissd-tool report inventory.xml update.xml -o report.html

say "Before it ships: what a run would pass over in silence"
run nvmepcissd-tool check . || true

say "Calls of the install script: an update leaves the library installed, and later runs find it"
cat fwkitinstall.log
run ls lib

say "Try it by hand"
cat <<TEXT
cd ${component#"$root"/}
./nvmepcissd -i                 # the inventory document on standard output
./nvmepcissd -u -o update.xml   # update every drive
./nvmepcissd -h                 # usage
report.html                     # the page made above; open it in a browser
Other drives: copy one of build/release/simulator/scenarios/*.json to scenario.json in that folder.
TEXT
