#!/usr/bin/env bash
# Both kinds of packages are made, hold what they should, and run when they are unpacked; lintian has no complaint
# but those that packaging/lintian/ lists with their reasons.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

(umask 022 && cd "$build" && cpack -B "$scratch/packages" >"$scratch/cpack.log" 2>&1) || { cat "$scratch/cpack.log" >&2; fail "cpack"; }
cd "$scratch/packages"
[ "$(find . -maxdepth 1 -name '*.deb' | wc -l)" -eq 2 ] || fail "not two Debian packages"
[ "$(find . -maxdepth 1 -name '*.rpm' | wc -l)" -eq 2 ] || fail "not two RPM packages"

for package in *.deb; do dpkg-deb -x "$package" "$scratch/deb"; done
try_component "$scratch/deb/usr"
mkdir "$scratch/rpm"
for package in *.rpm; do (cd "$scratch/rpm" && rpm2cpio "$scratch/packages/$package" | cpio -id --quiet); done
try_component "$scratch/rpm/usr"

for tree in deb rpm; do
  grep -q 'No licence has been chosen' "$scratch/$tree/usr/share/doc/nvmepcissd/copyright" || fail "$tree: copyright file"
  writable=$(find "$scratch/$tree/usr" -perm /022 ! -type l ! -name 'nvme-state.json' -path '*nvmepcissd*')
  [ -z "$writable" ] || fail "$tree: others may write $writable"
done
rpm -qp --qf '%{NAME} %{LICENSE}\n' ./*.rpm | grep -c ' none chosen$' | grep -qx 2 || fail "licence of the RPM packages"
! rpm -qp --provides ./*.rpm | grep -F .so || fail "the RPM packages provide libraries that are not for everybody"
! rpm -qp --requires ./nvmepcissd-1*.rpm | grep librbkl || fail "the RPM package requires the platform's library"
dpkg-deb -f ./nvmepcissd_*.deb Depends | grep -q libxml2 || fail "the Debian package does not depend on libxml2"

lintian --allow-root --fail-on error,warning,info --display-info ./*.deb >"$scratch/lintian" 2>&1 ||
  { cat "$scratch/lintian" >&2; fail "lintian"; }
