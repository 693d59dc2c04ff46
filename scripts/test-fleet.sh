#!/usr/bin/env bash
# Tests the Ansible collection of fleet/: its form, its modules, and rollouts on a rack of servers with simulated drives.
# The servers are namespaces on this machine, whose own network and mounts never change. Whatever happens, all of it ends
# with this script.
#
#   scripts/test-fleet.sh                    all tests
#   scripts/test-fleet.sh mutants SEED|all   changes the collection in small ways, a dozen of them or all, and tells which
#                                            changes no test notices: some minutes for each; goes on where it was stopped
#   scripts/test-fleet.sh scale              measures what rollouts cost; draws docs/images/fleet-scale.svg
#
# Exit status: 0 all tests passed, 1 a test failed, 2 wrong usage, 77 nothing was tested: this needs root and namespaces.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD build=$PWD/build/release scratch=$PWD/build/fleet
readonly root build scratch seconds=600 enough=30

impossible() { echo "test-fleet: NOT TESTED: $*" >&2; exit 77; }
[ "$(id -u)" -eq 0 ] || impossible "a rack of servers needs root"
unshare --mount --net --pid --uts --ipc --fork --mount-proc true || impossible "there are no namespaces here"

scripts/install-packages.sh fleet
cmake --preset release >/dev/null
cmake --build --preset release --target nvmepcissd-tool nvmepcissd simulator_stage >/dev/null

# The processor time of Ansible for racks of growing size, and then for many names over one rack.
scale() {
  scripts/install-packages.sh gnuplot-nox
  local count
  for count in 4 16 64 128; do
    /usr/bin/python3 tests/fleet/scale.py "$root" "$build" $count
  done | tee build/fleet-scale.tsv
  /usr/bin/python3 tests/fleet/scale.py "$root" "$build" 64 1000 | tee -a build/fleet-scale.tsv
  gnuplot -e "data='build/fleet-scale.tsv'; image='docs/images/fleet-scale.svg'" tests/fleet/scale.gnuplot
}

case ${1:-tests} in
  tests) ;;
  mutants) exec nice /usr/bin/python3 tests/fleet/mutants.py "$root" "$build" "${2:?SEED or all}" ;;
  scale) scale && exit ;;
  *) echo "usage: $0 [mutants SEED|all | scale]" >&2; exit 2 ;;
esac

# The collection is held against the rules of those who publish collections. A licence header is not there, because no
# licence has been chosen.
echo "test-fleet: form"
rm -rf "$scratch"
mkdir -p "$scratch"
export ANSIBLE_COLLECTIONS_PATH=$scratch/collections ANSIBLE_NOCOLOR=1 ANSIBLE_HOME=$scratch/home
installed=$ANSIBLE_COLLECTIONS_PATH/ansible_collections/nvmepcissd/fleet
ansible-galaxy collection build fleet --output-path "$scratch" >/dev/null
ansible-galaxy collection install --offline "$scratch"/nvmepcissd-fleet-*.tar.gz -p "$ANSIBLE_COLLECTIONS_PATH" >/dev/null
(cd "$installed" && find . -name "*.yml" -printf "%P\0" | xargs -0 ansible-lint --offline --nocolor --profile production)
ansible-doc -t module nvmepcissd.fleet.nvme_firmware nvmepcissd.fleet.nvme_firmware_info \
  nvmepcissd.fleet.nvme_firmware_report >/dev/null
ansible-doc -t role nvmepcissd.fleet.update nvmepcissd.fleet.install >/dev/null
validator=/usr/lib/python3/dist-packages/ansible_test/_util/controller/sanity/validate-modules
findings=$(cd "$installed" && PYTHONPATH=$validator:$ANSIBLE_COLLECTIONS_PATH /usr/bin/python3 $validator/validate.py \
  --arg-spec --collection ansible_collections/nvmepcissd/fleet --collection-version 1.1.0 plugins/modules) || true
modules=$(find "$installed/plugins/modules" -name '*.py' | wc -l)
if grep -v ' Emissing-gplv3-license ' <<<"$findings" || [ "$(grep -c . <<<"$findings")" -ne "$modules" ]; then
  echo "test-fleet: validate-modules found that, or did not run: $findings" >&2
  exit 1
fi

echo "test-fleet: modules"
/usr/bin/python3 tests/fleet/modules_test.py "$ANSIBLE_COLLECTIONS_PATH"

# Most of the time is spent waiting, so the racks stand beside each other.
racks=(rollout breakage systemd)
processes=()
for rack in "${racks[@]}"; do
  timeout --kill-after=5 $seconds /usr/bin/python3 "tests/fleet/${rack}_test.py" "$root" "$build" -v \
    >"$scratch/$rack.log" 2>&1 </dev/null &
  processes+=($!)
done
trap 'kill -KILL "${processes[@]}" 2>/dev/null || true' EXIT
failed=0 scenarios=0
for i in "${!racks[@]}"; do
  echo "test-fleet: ${racks[$i]}"
  wait "${processes[$i]}" || failed=1
  grep -E '^(test_|ERROR|FAIL|OK|Ran |AssertionError|in vain)' "$scratch/${racks[$i]}.log" | cut -c -400 || true
  scenarios=$((scenarios + $(grep -c '^scenario: ' "$scratch/${racks[$i]}.log" || true)))
done
echo "test-fleet: $scenarios scenarios passed on racks of six servers and of two with systemd"
[ "$scenarios" -ge $enough ] || { echo "test-fleet: there should be $enough or more" >&2; failed=1; }
exit $failed
