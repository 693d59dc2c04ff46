#!/usr/bin/env bash
# The Debian packages are installed, upgraded from those of 1.0.0, removed and purged in a bare root: state and the
# administrator's files are kept, and a purge leaves nothing that the programs have made.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"
export PATH=$PATH:/usr/sbin:/sbin

# The last commit of 1.0.0. Its packages are built once for each build folder.
readonly released=539eb9886f91682f6a070b845bc9b70649db9db5
old=$build/packages-1.0.0
if [ ! -e "$old/complete" ]; then
  git -C "$root" cat-file -e "$released^{commit}" 2>/dev/null ||
    fail "this clone does not have the history back to 1.0.0: git fetch --unshallow"
  mkdir "$scratch/sources"
  git -C "$root" archive "$released" | tar -x -C "$scratch/sources"
  (
    cd "$scratch/sources"
    { cmake --preset release && cmake --build --preset release; } >"$scratch/build.log" 2>&1 ||
      { tail -n 40 "$scratch/build.log" >&2; fail "1.0.0 does not build"; }
    make_packages "$PWD/build/release" "$old" -G DEB
  )
  touch "$old/complete"
fi
make_packages "$build" "$scratch/new" -G DEB

# dpkg on a root folder of its own, apart from this machine's packages. Programs of the packages run in place, with the
# machine's libraries.
bare=$scratch/root
component=$bare/usr/libexec/nvmepcissd
mkdir -p "$bare/var/lib/dpkg"/{info,updates,triggers}
touch "$bare/var/lib/dpkg"/{status,available}
packages() { dpkg --root="$bare" --force-script-chrootless --force-depends --force-not-root --force-bad-path --log=/dev/null "$@"; }
quietly() { "$@" >"$scratch/dpkg.log" 2>&1 || { cat "$scratch/dpkg.log" >&2; fail "$*"; }; }
version() { dpkg-query --admindir="$bare/var/lib/dpkg" -W -f '${Version} ${db:Status-Status}' "$1"; }
revisions() { (cd "$component" && ./nvmepcissd -i) | grep -o 'version="[^"]*"' | sort -u | paste -sd ' '; }

quietly packages -i "$old"/nvmepcissd_*.deb "$old"/nvmepcissd-simulator_*.deb
[ "$(version nvmepcissd)" = "1.0.0 installed" ] || fail "1.0.0 is not installed"
before=$(revisions)
(cd "$component" && ./nvmepcissd -u -o update.xml -d && touch enabledebug.txt && ./nvmepcissd -i -o inventory.xml)
rm "$component/enabledebug.txt"
after=$(revisions)
[ "$before" != "$after" ] || fail "the update has no effect"
echo "the administrator's" | tee "$component/maker.so" >"$component/notes.log"
state() { (cd "$component" && find rollback-partition ./*.log ./*.xml nvme-state.json maker.so ! -name package.xml -type f -exec sha256sum {} +); }
kept=$(state)
[ "$(wc -l <<<"$kept")" -ge 8 ] || fail "there is less to be kept than expected: $kept"

# The upgrade
quietly packages -i "$scratch/new"/*.deb
new=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
[ "$(version nvmepcissd)" = "$new installed" ] && [ "$new" != 1.0.0 ] || fail "$(version nvmepcissd) after the upgrade"
[ "$(state)" = "$kept" ] || fail "the upgrade has changed state"
[ "$(revisions)" = "$after" ] || fail "the simulated drives have lost their revisions: $(revisions)"
try_component "$bare/usr"
(cd "$component" && ../../bin/nvmepcissd-tool report inventory.xml -o page.html >/dev/null)
cmp "$component/nvmepcissd" "$build/nvmepcissd" >/dev/null 2>&1 && fail "the executable is not stripped"

# Removal keeps what is not the packages' own; a purge removes what their programs have made, and nothing else.
quietly packages -r nvmepcissd-simulator-dbgsym nvmepcissd-dbgsym nvmepcissd-simulator nvmepcissd nvmepcissd-dev
[ -f "$component/debug.log" ] && [ -d "$component/rollback-partition" ] || fail "a removal removes state"
quietly packages -P nvmepcissd-simulator-dbgsym nvmepcissd-dbgsym nvmepcissd-simulator nvmepcissd nvmepcissd-dev
left=$(cd "$bare" && find . -mindepth 1 ! -type d ! -path './var/lib/dpkg/*' | sort | paste -sd ' ')
[ "$left" = "./usr/libexec/nvmepcissd/maker.so ./usr/libexec/nvmepcissd/notes.log" ] || fail "a purge leaves: $left"

# Without the administrator's files nothing is left at all.
rm -r "$component"
quietly packages -i "$scratch/new"/nvmepcissd_*.deb "$scratch/new"/nvmepcissd-simulator_*.deb
(cd "$component" && ./nvmepcissd -u -o update.xml -d)
quietly packages -P nvmepcissd-simulator nvmepcissd
left=$(cd "$bare" && find . -mindepth 1 ! -path './var*' | paste -sd ' ')
[ -z "$left" ] || fail "a purge leaves: $left"
