#!/usr/bin/env bash
# Runs the worked examples of docs/integration.md, as they stand there, on simulated servers.
# Arguments: repository, build folder.
set -euo pipefail
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
mkdir "$component"
cp "$build/nvmepcissd" "$build/librbkl.so.0" "$component"
cp -r "$build"/simulator/{libnvme.so,package.xml,fwkitinstall.sh} "$component"

stage() {
  rm -rf "$component/payload" "$component/nvme-state.json" "$scratch/results"
  mkdir "$scratch/results"
  cp -r "$build/simulator/payload" "$component"
  cp "$build/simulator/scenarios/$1.json" "$component/scenario.json"
}

# expect STATUS TEXT COMMAND...: exit status and a line that is among what is printed.
expect() {
  local status=0 expected=$1 text=$2
  shift 2
  "$@" "$component" "$scratch/results" >"$scratch/printed" 2>&1 || status=$?
  [ $status -eq "$expected" ] && grep -qxF -- "$text" "$scratch/printed" && return
  cat "$scratch/printed" >&2
  fail "$*: exit status $status instead of $expected, or no line \"$text\""
}

PATH=$build:$PATH
shell=(sh "$scratch/update-drives.sh")
python=(python3 "$scratch/update_drives.py")

# told STATUS STATE...: both examples end with this status and give the drives these states, in order of discovery.
told() {
  local expected=$1 example status found
  shift
  for example in shell python; do
    declare -n command=$example
    rm -f "$component/nvme-state.json"
    status=0
    "${command[@]}" "$component" "$scratch/results" >"$scratch/printed" 2>&1 || status=$?
    found=$(awk '/^SIM/ {print $NF}' "$scratch/printed" | paste -sd ' ')
    [ $status -eq "$expected" ] && [ "$found" = "$*" ] && continue
    cat "$scratch/printed" >&2
    fail "$example: exit status $status and \"$found\" instead of $expected and \"$*\""
  done
}

stage three-drives
told 0 updated updated updated
[ "$(ls "$component/rollback-partition")" = SampleFirmware.bin ] || fail "no rollback"
grep -qxF "SIM0000000000001: SMP10100 -> SMP90200: updated" "$scratch/printed" || fail "no revisions"

stage one-refuses
told 1 updated failed updated
grep -qxF "SIM0000000000002: SMP20100 -> SMP20100: failed" "$scratch/printed" || fail "no revision of the failed drive"

# Two drives of one serial number are two drives.
stage three-drives
sed -i 's/SIM0000000000002/SIM0000000000001/' "$component/scenario.json"
told 0 updated updated updated
stage one-refuses
sed -i 's/SIM0000000000002/SIM0000000000001/' "$component/scenario.json"
told 1 updated failed updated

# A payload folder that is a link is followed, as the component follows it.
stage three-drives
rm -rf "$scratch/elsewhere"
mv "$component/payload" "$scratch/elsewhere"
ln -s "$scratch/elsewhere" "$component/payload"
told 0 updated updated updated

# The outcome of the update is told even if the inventory after it fails.
stage one-refuses
mv "$component/nvmepcissd" "$component/real"
printf '#!/bin/sh\ncase $* in *after.xml*) exit 9 ;; esac\nexec ./real "$@"\n' >"$component/nvmepcissd"
chmod 755 "$component/nvmepcissd"
told 1 undecided failed undecided
mv "$component/real" "$component/nvmepcissd"

stage no-drives
told 3

# A wrong call is no outcome of an update.
for example in shell python; do
  declare -n command=$example
  status=0
  "${command[@]}" >"$scratch/printed" 2>&1 || status=$?
  [ $status -eq 2 ] && grep -q 'usage: ' "$scratch/printed" && ! grep -q Traceback "$scratch/printed" ||
    { cat "$scratch/printed" >&2; fail "$example: exit status $status without arguments"; }
done

stage three-drives
touch "$component/payload/.hidden"
expect 2 "nothing was started: payload/ must hold exactly one file" "${shell[@]}"
expect 2 "nothing was started: payload/ must hold exactly one file" "${python[@]}"
[ ! -e "$component/nvme-state.json" ] || fail "a refused payload was flashed"

stage three-drives
exec 8<"$component"
flock 8
expect 2 "nothing was started: another run is under way" "${shell[@]}"
expect 2 "nothing was started: [Errno 11] Resource temporarily unavailable" "${python[@]}"
flock -u 8
echo "both examples behave"
