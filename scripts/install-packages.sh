#!/usr/bin/env bash
# Installs those of the named Debian or Ubuntu packages that are missing; does nothing when none is.
set -euo pipefail

missing=()
for package in "$@"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing packages: ${missing[*]}" >&2
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
log=$(mktemp)
trap 'rm -f "$log"' EXIT
"${as_root[@]}" sh -c 'apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"' sh \
  "${missing[@]}" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
