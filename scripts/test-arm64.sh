#!/usr/bin/env bash
# Builds component, drive library, tool and simulator for arm64 with the distribution's cross compiler, and runs their
# unit tests and the tests of whole runs on this machine, under user-mode emulation. The libraries, a shell and a few
# commands are arm64 packages, unpacked into build/arm64/root and not installed.
#
#   scripts/test-arm64.sh [OPTION...]     options go to each test program, for instance --gtest_filter='*Update*'
#
# Emulated programs run in a root folder and a user namespace of their own. The kernel starts them by a handler that is
# registered for that namespace alone, which needs Linux 6.7, or by one that the machine has already.
#
# Left out are the tests that cannot say anything about the processor: model, injected faults, fuzzing, packages,
# documentation and benchmarks; and the virtual machine, whose emulator has x86-64 only (tests/vm/README.md).
#
# A test program that runs for more than ten minutes has failed. CI leaves this script out, because it builds for some six
# minutes on two processors that have nothing else to do.
#
# Exit status: 0 all tests passed, 1 a test failed or something does not build, 77 nothing was tested: what this needs is
# not available here.
set -euo pipefail
cd "$(dirname "$0")/.."
source=$PWD
build=$source/build/arm64
root=$build/root
readonly source build root
readonly programs=(base_tests core_tests nvme_linux_tests simulator_tests tool_tests system_tests)
# The emulator knows no ioctls of NVMe drives, and answers with another error than the kernel. The namespace has one user,
# and a run as another one cannot be had there.
readonly left_out='LinuxHostTest.FailuresAreNegativeErrorNumbers:ReadOnlyWorkingFolder.*'
readonly handler=/usr/lib/binfmt.d/qemu-aarch64.conf

say() { printf 'test-arm64: %s\n' "$*"; }
impossible() { say "NOT TESTED: $*" >&2; exit 77; }

# shellcheck source=tests/vm/private-apt.sh
. tests/vm/private-apt.sh

# Headers and libraries to build with, and what the tests run (libc-bin has the locale C.UTF-8): with all that they
# depend on, but for the C library's headers, which come with the compiler.
fetch_root() {
  local packages archives=$build/packages package
  packages=$(scripts/install-packages.sh --list tests | grep -e '-dev$' | tr '\n' ' ')"dash coreutils libc-bin binutils"
  [ "$(cat "$root/complete" 2>/dev/null)" != "$packages" ] || return 0
  say "fetching arm64 packages"
  rm -rf "$root" "$archives"
  mkdir -p "$root" "$archives/partial"
  open_private_apt "$build/apt" deb "" arm64 || return 1
  # shellcheck disable=SC2086  # one word for each package
  private_apt "$build/apt" apt-get install -qq --download-only --no-install-recommends -o "Dir::Cache::Archives=$archives" \
    $packages >"$build/fetch.log" || return 1
  rm -f "$archives"/libc6-dev_* "$archives"/linux-libc-dev_*
  for package in "$archives"/*.deb; do dpkg -x "$package" "$root" || return 1; done
  rm -r "$archives"
  echo "$packages" >"$root/complete"
}

# Runs a command with bash in namespaces of its own, where the handler is registered and the root folder has the
# machine's /proc, /sys and /dev, a /tmp of its own and the sources at their place.
emulated() {
  mkdir -p "$root"/{proc,sys,dev,tmp} "$root$source"
  # shellcheck disable=SC2016  # expanded inside
  unshare --user --map-root-user --mount bash -ec '
    root=$1 source=$2 handler=$3
    shift 3
    # Refused by kernels before 6.7, where the handlers are the whole machine'"'"'s.
    if mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc 2>/dev/null; then
      cat "$handler" >/proc/sys/fs/binfmt_misc/register
    fi
    mount --bind "$source" "$root$source"
    for place in proc sys dev; do mount --rbind "/$place" "$root/$place"; done
    mount -t tmpfs tmpfs "$root/tmp"
    exec "$@"' bash "$root" "$source" "$handler" "$@"
}

[ "$(uname -m)" != aarch64 ] || impossible "this machine is arm64 itself: scripts/test.sh tests there"
for tool in apt-get apt-cache dpkg unshare; do
  command -v $tool >/dev/null || impossible "this needs a Debian machine's packages; there is no $tool"
done
scripts/install-packages.sh arm64 || impossible "the cross compiler or the emulator is not available here"
mkdir -p "$build"
fetch_root || impossible "the package mirror of this machine has no arm64 packages"
emulated chroot "$root" /bin/true 2>/dev/null ||
  impossible "this machine does not let a user namespace run arm64 programs (Linux 6.7 does)"

say "building"
cmake --preset arm64 >"$build/build.log"
cmake --build --preset arm64 --target "${programs[@]}" >>"$build/build.log" || {
  cat "$build/build.log"
  say "FAILED, it does not build for arm64"
  exit 1
}
say "built after $SECONDS s"

failed=()
for program in "${programs[@]}"; do
  say "$program"
  emulated timeout -k 10 600 chroot "$root" "$build/build/$program" --gtest_brief=1 \
    "--gtest_filter=-$left_out" "$@" || failed+=("$program")
done
[ ${#failed[@]} -eq 0 ] || { say "FAILED: ${failed[*]}"; exit 1; }
say "all tests passed, after $SECONDS s"
