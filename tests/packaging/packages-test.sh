#!/usr/bin/env bash
# Both kinds of packages are made, hold what they should, and run when they are unpacked; lintian has no complaint
# but those that packaging/lintian/ lists with their reasons.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

make_packages "$build" "$scratch/packages"
cd "$scratch/packages"
[ "$(debian_names)" = "nvmepcissd nvmepcissd-dbgsym nvmepcissd-dev nvmepcissd-simulator nvmepcissd-simulator-dbgsym" ] ||
  fail "Debian packages: $(debian_names)"
[ "$(rpm -qp --qf '%{NAME}\n' ./*.rpm | sort | paste -sd ' ')" = \
  "nvmepcissd nvmepcissd-debuginfo nvmepcissd-devel nvmepcissd-simulator nvmepcissd-simulator-debuginfo" ] || fail "RPM packages"

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
[ ! -e "$scratch/rpm/usr/share/lintian" ] || fail "the RPM packages hold files of Debian's checker"
rpm -qp --qf '%{NAME} %{LICENSE}\n' ./*.rpm | grep -c ' none chosen$' | grep -qx 5 || fail "licence of the RPM packages"
! rpm -qp --provides ./*.rpm | grep -F .so || fail "the RPM packages provide libraries that are not for everybody"
! rpm -qp --requires ./nvmepcissd-1*.rpm | grep librbkl || fail "the RPM package requires the platform's library"
[[ $(dpkg-deb -f ./nvmepcissd_*.deb Depends) == *libxml2* ]] || fail "the Debian package does not depend on libxml2"

# Folders that an RPM package lists become its own: those of others must not be among them.
others=$(for package in *.rpm; do
  rpm -qp --qf '[%{FILEMODES:perms} %{FILENAMES}\n]' "$package"
done | grep ^d | grep -vE '/nvmepcissd(-[a-z]+)*(/|$)|/\.build-id/..$' || true)
[ -z "$others" ] || fail "the RPM packages own $others"

# What is stripped is in the packages of debug symbols, under the same build id.
has_symbols() { [[ $(readelf -SW "$1" 2>/dev/null) == *.debug_info* ]]; }
for file in bin/nvmepcissd-tool libexec/nvmepcissd/{nvmepcissd,drive_library/libnvme.so,libnvme.so,librbkl.so.0}; do
  ! has_symbols "$scratch/deb/usr/$file" || fail "$file is not stripped"
  id=$(readelf -n "$scratch/deb/usr/$file" | sed -n 's/.*Build ID: //p')
  symbols=$scratch/deb/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug
  has_symbols "$symbols" || fail "no debug symbols for $file"
done
! find "$scratch/deb/usr/lib/debug" -name '*.debug' -exec readelf --debug-dump=info,line {} + 2>/dev/null |
  grep -F -- "$root" || fail "the debug symbols name the building machine's folders"

lintian --allow-root --fail-on error,warning,info --display-info ./*.deb >"$scratch/lintian" 2>&1 ||
  { cat "$scratch/lintian" >&2; fail "lintian"; }
