#!/usr/bin/env bash
# Runs the worked examples of docs/integration.md, as they stand there, on simulated servers.
# Arguments: repository, build folder.
set -euo pipefail

# A server of its own, with a state folder and a lock that nobody else has.
if [ -z "${OWN_SERVER:-}" ]; then
  user=(); [ "$(id -u)" -eq 0 ] || user=(--user --map-root-user)
  OWN_SERVER=1 exec unshare "${user[@]}" --mount --pid --fork --kill-child --mount-proc "$0" "$@"
fi
mount -t tmpfs none /run
mount -t tmpfs none /var/lib

root=$1 build=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() { echo "FAILED: $*" >&2; exit 1; }

# The code block after the comment that names it.
example() {
  awk -v mark="<!-- example: $1 -->" '$0 == mark {found = 1; next} found && /^```/ {if (inside) exit; inside = 1; next} inside' \
    "$root/docs/integration.md" >"$scratch/$1"
  [ -s "$scratch/$1" ] || fail "no example $1"
}
example update-drives.sh
example update_drives.py

component=$scratch/component
mkdir -m 755 "$component"
cp "$build/nvmepcissd" "$build/librbkl.so.0" "$component"
cp -r "$build"/simulator/{libnvme.so,package.xml,fwkitinstall.sh} "$component"
export NVME_SIMULATOR_CALLS=$scratch/calls

stage() {
  rm -rf "$component/payload" "$component/nvme-state.json" "$scratch/calls"
  cp -r "$build/simulator/payload" "$component"
  cp "$build/simulator/scenarios/$1.json" "$component/scenario.json"
}

PATH=$build:$PATH
# shellcheck disable=SC2034  # called by their names
shell=(sh "$scratch/update-drives.sh")
# shellcheck disable=SC2034
python=(python3 "$scratch/update_drives.py")
runs=0

# call EXAMPLE RUN: sets status, printed, and found: the states of the last table, in order of discovery.
call() {
  declare -n command=$1
  status=0
  "${command[@]}" "$component" "$2" >"$scratch/printed" 2>&1 || status=$?
  found=$(awk '/^SERIAL/ {states = ""} /^SIM/ {states = states " " $NF} END {print substr(states, 2)}' "$scratch/printed")
}
failed() { cat "$scratch/printed" >&2; fail "$*"; }

# told STATUS STATE...: both examples end with this status and give the drives these states.
told() {
  local expected=$1 example
  shift
  for example in shell python; do
    rm -f "$component/nvme-state.json"
    call $example "run-$((++runs))"
    [ $status -eq "$expected" ] && [ "$found" = "$*" ] ||
      failed "$example: exit status $status and \"$found\" instead of $expected and \"$*\""
  done
}
flashes() { touch "$scratch/calls" && grep -c '^NVMEUpdateFirmware' "$scratch/calls" || true; }

stage three-drives
told 0 updated updated updated
[ "$(ls "$component/rollback-partition")" = SampleFirmware.bin ] || fail "no rollback"
grep -qxF "SIM0000000000001: SMP10100 -> SMP90200: updated" "$scratch/printed" || failed "no revisions"

# The same run once more flashes nothing.
before=$(flashes)
for example in shell python; do
  call $example "run-$runs"
  [ $status -eq 0 ] && [ "$found" = "updated updated updated" ] || failed "$example: the run cannot be joined"
done
[ "$(flashes)" -eq "$before" ] || fail "a run that was over has flashed again"

stage one-refuses
told 1 updated failed updated
grep -qxF "SIM0000000000002: SMP20100 -> SMP20100: failed" "$scratch/printed" || failed "no revision of the failed drive"

# Two drives of one serial number are two drives.
stage three-drives
sed -i 's/SIM0000000000002/SIM0000000000001/' "$component/scenario.json"
told 0 updated updated updated
stage one-refuses
sed -i 's/SIM0000000000002/SIM0000000000001/' "$component/scenario.json"
told 1 updated failed updated

stage no-drives
told 4

stage three-drives
touch "$component/payload/.hidden"
told 4
[ "$(flashes)" -eq 0 ] || fail "a refused payload was flashed"

# A wrong call is no outcome of an update.
for example in shell python; do
  declare -n command=$example
  for arguments in "" "$component/none run"; do
    status=0
    # shellcheck disable=SC2086  # words
    "${command[@]}" $arguments >"$scratch/printed" 2>&1 || status=$?
    [ $status -eq 2 ] && ! grep -q Traceback "$scratch/printed" || failed "$example: exit status $status after \"$arguments\""
  done
done
echo "both examples behave"
