#!/usr/bin/env bash
# The service that writes metrics is understood by systemd, off by default, and may do little more than its task.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

# As installed, so that the program which the service names is found.
cmake --install "$build" --prefix "$scratch/usr" --component runtime >/dev/null
units=$scratch/usr/lib/systemd/system
service=$units/nvmepcissd-metrics.service timer=$units/nvmepcissd-metrics.timer

sed -i "s|^ExecStart=|&$scratch/usr/bin/|" "$service"
SYSTEMD_UNIT_PATH=$units: systemd-analyze verify --man=no "$service" "$timer" >"$scratch/verify" 2>&1 || fail "$(cat "$scratch/verify")"
! grep -F nvmepcissd "$scratch/verify" || fail "systemd complains"

[ -z "$(find "$scratch/usr" -type l -name 'nvmepcissd-metrics*')" ] || fail "something is enabled"
! grep -q '^\[Install\]' "$service" || fail "the service could be enabled without its timer"

# The threshold is in tenths: 25 is an exposure of 2.5.
exposure() { systemd-analyze security --no-pager --offline=true --threshold=25 "$1" >"$scratch/exposure"; }
exposure "$service" || { cat "$scratch/exposure" >&2; fail "the service may do more than it should"; }
mkdir "$scratch/loose"
grep -vE '^(Protect|Private|Restrict|SystemCall|Capability|Device|NoNew)' "$service" >"$scratch/loose/nvmepcissd-metrics.service"
! exposure "$scratch/loose/nvmepcissd-metrics.service" || fail "a service without its sandbox passes"
