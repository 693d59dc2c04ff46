#!/usr/bin/env bash
# Installs Debian or Ubuntu packages that are missing, and does nothing when none is. This is the one place that names
# the packages of the project: everything else asks for sets.
#
#   scripts/install-packages.sh NAME...         NAME is a set of the list below, or a package
#   scripts/install-packages.sh --list NAME...  prints the packages, one in a line, and installs nothing
#
# Exit status: 0 they are all installed, 1 something could not be installed, 2 wrong usage.
set -euo pipefail

# The first word is the set's name. A word that is itself a set stands for what that set holds.
readonly sets='
component    g++ cmake ninja-build libxml2-dev
simulator    nlohmann-json3-dev
tool         nlohmann-json3-dev libcli11-dev libelf-dev nettle-dev
release      component simulator tool
demo         release libxml2-utils
tests        release libgtest-dev libgmock-dev libxml2-utils binutils python3 clang-format
tests        python3-jsonschema python3-prometheus-client
coverage     tests clang llvm libclang-rt-dev
packaging    release libxml2-utils python3 dpkg-dev file rpm cpio lintian mandoc bash-completion bsdextrautils
packaging    zsh fish pkgconf make chromium chromium-driver systemd prometheus
pictures     demo packaging fleet
analysis     tests clang clang-tidy cppcheck shellcheck pyflakes3
fuzz         release python3 clang llvm libclang-rt-dev
bench        release python3 valgrind time libbenchmark-dev libxml2-utils
bench-tables bench strace
bench-growth bench gnuplot-nox
bench-large  bench time
bench-documents bench gnuplot-nox libxml2-utils
arm64        release g++-aarch64-linux-gnu qemu-user-static
fleet        release ansible-core ansible-lint openssh-server openssh-client python3-voluptuous iproute2 util-linux
fleet        dpkg-dev python3-apt systemd systemd-container prometheus python3-prometheus-client
vm           tests meson pkg-config libglib2.0-dev libpixman-1-dev libfdt-dev dpkg-dev
'

usage() { echo "usage: $0 [--list] NAME..." >&2; exit 2; }

# The packages that the names stand for, one in a line.
packages_of() {
  local name members
  for name; do
    members=$(awk -v set="$name" '$1 == set {$1 = ""; print}' <<<"$sets")
    if [ -n "$members" ]; then
      # shellcheck disable=SC2086  # one word for each member
      packages_of $members
    else
      echo "$name"
    fi
  done
}

list=no
if [ "${1:-}" = --list ]; then
  list=yes
  shift
fi
[ $# -gt 0 ] || usage
case $1 in -*) usage ;; esac
mapfile -t packages < <(packages_of "$@" | sort -u)
if [ $list = yes ]; then
  printf '%s\n' "${packages[@]}"
  exit 0
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

# Tells what to do by hand, and stops.
by_hand() {
  echo "install-packages.sh: $1. $2:" >&2
  echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 1
}

command -v apt-get >/dev/null ||
  by_hand "there is no apt-get, so this is not Debian or Ubuntu" "Install what corresponds to these packages"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || by_hand "packages are missing and there is no sudo" "As root, run"
  as_root=(sudo)
fi
echo "Installing packages: ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
"${as_root[@]}" sh -c 'apt-get update &&
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends -o DPkg::Lock::Timeout=300 "$@"' sh \
  "${missing[@]}" >"$log" 2>&1 || { cat "$log" >&2; by_hand "the packages could not be installed" "As root, run"; }
