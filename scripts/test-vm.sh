#!/usr/bin/env bash
# Boots small Linux systems in an emulator and tests the component and its drive library there, on real kernel drivers:
# with PCIe drives that the emulator provides, and with drives behind NVMe/TCP that are programs of our own. Kernels,
# shell and the emulator's source are the distribution's packages, unpacked into build/vm/ and not installed.
# tests/vm/README.md says how it works.
#
#   scripts/test-vm.sh [--kernel stable|backports] [TEST...]
#
# Without arguments, all tests run on both kernels. TEST is the beginning of a test's name, without test_.
#
# Exit status: 0 all tests passed, 1 a test failed, 2 wrong usage, 77 nothing was tested: the packages are not available
# here, or lack something.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
vm=$root/build/vm
readonly root vm boot_seconds=600

say() { printf 'test-vm: %s\n' "$*"; }
impossible() { say "NOT TESTED: $*" >&2; exit 77; }
usage() { echo "usage: $0 [--kernel stable|backports] [TEST...]" >&2; exit 2; }

# shellcheck source=tests/vm/private-apt.sh
. tests/vm/private-apt.sh
# shellcheck source=tests/vm/emulator.sh
. tests/vm/emulator.sh
# shellcheck source=tests/vm/guest.sh
. tests/vm/guest.sh
# shellcheck source=tests/vm/boot.sh
. tests/vm/boot.sh

kernels=(stable backports)
wanted=any
while [ $# -gt 0 ]; do
  case $1 in
    --kernel)
      case ${2:-} in stable | backports) kernels=("$2") wanted=$2 ;; *) usage ;; esac
      shift 2
      ;;
    -*) usage ;;
    *) break ;;
  esac
done
tests=$(IFS=,; echo "$*")

# fetch_kernel NAME SUFFIX: the cloud kernel of a suite, unpacked into $vm/NAME.
fetch_kernel() {
  local name=$1 suffix=$2 apt=$vm/apt/$1 package
  [ ! -e "$vm/$name/complete" ] || return 0
  say "fetching the $name kernel"
  open_private_apt "$apt" deb "$suffix" || return 1
  package=$(private_apt "$apt" apt-cache depends linux-image-cloud-amd64 |
    sed -n 's/^ *Depends: \(linux-image-[0-9].*\)/\1/p' | head -1)
  [ -n "$package" ] && unpack_packages "$vm/$name" "$apt" "$package"
}

# What the guest and the emulator need, and nvme-cli with the libraries that a machine may lack.
fetch_tools() {
  [ ! -e "$vm/tools/complete" ] || [ ! -e "$vm/peer/complete" ] || return 0
  open_private_apt "$vm/apt/stable" deb "" &&
    unpack_packages "$vm/tools" "$vm/apt/stable" busybox-static seabios qemu-system-data &&
    unpack_packages "$vm/peer" "$vm/apt/stable" nvme-cli libnvme1 libjson-c5 libdbus-1-3 libkeyutils1 libssl3 libuuid1
}

build_programs() {
  say "building"
  {
    cmake --preset vm
    cmake --build --preset vm --target nvmepcissd nvmepcissd-tool nvme_linux_module simulator_rbkl vm_drive vm_exit vm_log vm_probe
  } >"$vm/build.log" 2>&1 || { cat "$vm/build.log"; exit 1; }
}

[ "$(uname -m)" = x86_64 ] ||
  impossible "this needs an x86-64 machine, and this one is $(uname -m); tests/vm/README.md says why"
for tool in apt-get apt-cache dpkg; do
  command -v $tool >/dev/null || impossible "this needs a Debian machine's packages; there is no $tool"
done
scripts/install-packages.sh vm || impossible "the packages that the build needs are not available here"
mkdir -p "$vm"
fetch_tools || impossible "the packages busybox-static, seabios, qemu-system-data and nvme-cli are not available here"
missing=
fetch_kernel stable "" || impossible "the package linux-image-cloud-amd64 is not available here"
if [ "$wanted" != stable ] && ! fetch_kernel backports -backports; then
  missing="the package mirror of this machine has no linux-image-cloud-amd64 in its backports"
  [ "$wanted" = any ] || impossible "$missing"
  kernels=(stable)
fi
build_emulator
build_programs

# One virtual machine per kernel, at the same time: each uses one processor.
declare -A machines
for kernel in "${kernels[@]}"; do
  make_guest "$kernel"
  boot "$kernel" "$tests" $boot_seconds &
  machines[$kernel]=$!
done
failed=0
for kernel in "${kernels[@]}"; do
  status=0
  wait "${machines[$kernel]}" || status=$?
  say "$kernel kernel"
  cat "$vm/$kernel.log"
  # The guest ends the emulator with 85 when its tests have passed. Other statuses are failed tests (3), a kernel that
  # stopped (0), an emulator that refused to start (1) and no end in time (124).
  [ $status -eq 85 ] || { say "FAILED on the $kernel kernel, emulator status $status; see build/vm/$kernel.log" && failed=1; }
done
[ -z "$missing" ] || say "NOT TESTED on a backports kernel: $missing"
say "ran for $SECONDS s"
exit $failed
