#!/usr/bin/env bash
# The same sources give the same packages, byte for byte: under any umask, from another folder, at another time.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

compare() {
  local package
  for package in "$scratch/first"/*.{deb,rpm}; do
    cmp "$package" "$1/$(basename "$package")" || fail "$2: $(basename "$package") differs"
  done
}

make_packages "$build" "$scratch/first"
for mask in 002 077; do
  (umask $mask && make_packages "$build" "$scratch/under-$mask")
  compare "$scratch/under-$mask" "umask $mask"
done

# The whole build again, as somebody else would do it: the copy has no history, so the time is handed over.
SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct)
export SOURCE_DATE_EPOCH
copy="$scratch/another folder"
(
  umask 077
  mkdir "$copy"
  (cd "$root" && git ls-files -z | grep -zv '^tests/' | xargs -0 cp --parents -t "$copy")
  cd "$copy"
  { cmake --preset release && cmake --build --preset release; } >"$scratch/build.log" 2>&1 ||
    { tail -n 40 "$scratch/build.log" >&2; fail "the copy does not build"; }
  make_packages "$copy/build/release" "$scratch/second"
)
compare "$scratch/second" "another folder"
# The comparison would notice: another time gives other packages.
SOURCE_DATE_EPOCH=1 make_packages "$build" "$scratch/old" -G DEB
! cmp -s "$scratch/first"/nvmepcissd_*.deb "$scratch/old"/nvmepcissd_*.deb || fail "the time of the sources is not in the packages"
