#!/usr/bin/env bash
# Boots a small Linux in an emulator, with drives of two kinds, and tests the component and its drive library there:
# emulated PCIe drives, and drives that take firmware, which are programs of our own behind the kernel's NVMe/TCP
# driver. Emulator, kernel and shell are the distribution's packages, unpacked into build/vm/ and not installed.
#
# Exit status: 0 all tests passed, 1 a test failed, 77 not possible here: packages are not available or lack something.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
vm=$root/build/vm
unpacked=$vm/unpacked

say() { printf 'test-vm: %s\n' "$*"; }
impossible() { say "NOT TESTED: $*" >&2; exit 77; }

[ "$(uname -m)" = x86_64 ] || impossible "this needs an x86_64 machine"
for tool in apt-get apt-cache dpkg; do
  command -v "$tool" >/dev/null || impossible "this needs a Debian machine's packages; there is no $tool"
done
scripts/install-packages.sh vm ||
  impossible "the packages that the build needs are not available here"

# Packages
kernel_package() {
  apt-cache depends linux-image-cloud-amd64 2>/dev/null | sed -n 's/^ *Depends: \(linux-image-[0-9].*\)/\1/p' | head -1
}

update_lists() {
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
}

# Both download into the current folder; the second one also what the packages need and this machine has not.
download() { apt-get download -qq -o APT::Sandbox::User=root "$@"; }
download_with_dependencies() {
  mkdir -p partial
  apt-get install -y -qq --download-only --no-install-recommends -o Dir::Cache::archives="$PWD" \
    -o Debug::NoLocking=1 -o APT::Sandbox::User=root "$@" >/dev/null
}

# Called where a failure does not end the script: every step that may fail says what then.
fetch_packages() {
  rm -rf "$vm/packages" "$unpacked"
  mkdir -p "$vm/packages" "$unpacked"
  local kernel package
  kernel=$(kernel_package)
  [ -n "$kernel" ] || return 1
  (
    cd "$vm/packages" && download "$kernel" busybox-static &&
      { command -v qemu-system-x86_64 >/dev/null || download_with_dependencies qemu-system-x86; }
  ) || return 1
  for package in "$vm"/packages/*.deb; do dpkg -x "$package" "$unpacked" || return 1; done
  touch "$unpacked/complete"
}

if [ ! -e "$unpacked/complete" ]; then
  say "fetching emulator, kernel and shell"
  # The lists of packages may be missing, or older than the archive.
  fetch_packages || { update_lists && fetch_packages; } ||
    impossible "the packages qemu-system-x86, linux-image-cloud-amd64 and busybox-static are not available here"
fi

emulator=(qemu-system-x86_64)
if [ -x "$unpacked/usr/bin/qemu-system-x86_64" ]; then
  emulator=(env LD_LIBRARY_PATH="$unpacked/usr/lib/x86_64-linux-gnu:$unpacked/lib/x86_64-linux-gnu"
    "$unpacked/usr/bin/qemu-system-x86_64" -L "$unpacked/usr/share/qemu" -L "$unpacked/usr/share/seabios")
fi
# first_of WHAT PATH...: the first path that exists; newer packages have theirs below usr/.
first_of() {
  local what=$1 path
  shift
  for path; do
    [ ! -e "$path" ] || { echo "$path"; return; }
  done
  impossible "the unpacked packages have no $what"
}
kernel=$(first_of kernel "$unpacked"/{,usr/}boot/vmlinuz-* "$unpacked"/usr/lib/modules/*/vmlinuz)
modules=$(first_of "kernel modules" "$unpacked"/{,usr/}lib/modules/*)
busybox=$(first_of busybox "$unpacked"/{,usr/}bin/busybox)

# The component, the library and the guest's programs
say "building"
mkdir -p "$vm"
{
  cmake --preset vm
  cmake --build --preset vm --target nvmepcissd nvme_linux_module simulator_rbkl vm_drive vm_exit vm_probe
} >"$vm/build.log" 2>&1 || { cat "$vm/build.log"; exit 1; }

# The guest's file system
guest=$vm/guest
rm -rf "$guest"
mkdir -p "$guest"/{bin,component/payload,dev,drives,modules,proc,sys,sys-live,tmp}
cp "$busybox" "$guest/bin/"
ln -s busybox "$guest/bin/sh"
cp "$vm"/build/{vm_drive,vm_exit,vm_probe} "$guest/bin/"
cp "$vm"/build/{nvmepcissd,librbkl.so.0,drive_library/libnvme.so} simulator/fwkitinstall.sh "$guest/component/"
cp tests/vm/init "$guest/init"
cp tests/vm/tests.sh "$guest/tests.sh"
chmod +x "$guest/init"
for library in $(ldd "$guest"/component/{nvmepcissd,libnvme.so,librbkl.so.0} "$guest"/bin/vm_* |
  grep -o '/[^ ]*' | grep -v : | grep -v "^$vm" | sort -u); do
  mkdir -p "$guest$(dirname "$library")"
  cp -L "$library" "$guest$library"
done
[ -n "$(find "$modules" -name 'nvme-tcp.ko*')" ] || impossible "the kernel's package has no module nvme-tcp"
# In the order in which they need each other; newer kernels have more of them.
for module in nvme-keyring nvme-auth nvme-fabrics nvme-tcp; do
  file=$(find "$modules" -name "$module.ko*" | head -1)
  [ -n "$file" ] || continue
  case $file in
    *.xz) xz -dc "$file" >"$guest/modules/$module.ko" ;;
    *) cp "$file" "$guest/modules/" ;;
  esac
  echo "$module.ko" >>"$guest/modules/order"
done
(cd "$guest" && find . | "$busybox" cpio -o -H newc 2>/dev/null) >"$vm/initramfs"

# Three emulated PCIe drives: two of one model, on two buses, and one of another.
for drive in 0 1 2; do truncate -s 1M "$vm/drive$drive"; done
machine=(-accel tcg -nodefaults -no-user-config -display none -serial stdio -no-reboot -M q35 -m 512
  -kernel "$kernel" -initrd "$vm/initramfs"
  -append "console=ttyS0 panic=-1 quiet mitigations=off tsc=reliable no_timer_check"
  -device "isa-debug-exit,iobase=0xf4,iosize=4"
  -device "pcie-root-port,id=root_port,bus=pcie.0,addr=5.0,chassis=1")
nvme=(
  -drive "file=$vm/drive0,format=raw,if=none,id=drive0"
  -device "nvme,drive=drive0,serial=SN0001,bus=pcie.0,addr=4.0"
  -drive "file=$vm/drive1,format=raw,if=none,id=drive1"
  -device "nvme,drive=drive1,serial=SN0002,bus=root_port,addr=0.0"
  -drive "file=$vm/drive2,format=raw,if=none,id=drive2"
  -device "nvme,drive=drive2,serial=SN0003,bus=pcie.0,addr=6.0,use-intel-id=on")

say "booting $(basename "$kernel")"
status=0
begin=$SECONDS
timeout -k 10 280 "${emulator[@]}" "${machine[@]}" "${nvme[@]}" >"$vm/console.log" 2>&1 </dev/null || status=$?
cat "$vm/console.log"
say "the virtual machine ran for $((SECONDS - begin)) s"
# What the guest ends the emulator with when its tests have passed. Other statuses are failed tests (3), a kernel that
# stopped (0), an emulator that refused to start (1) and no end in time (124).
if [ $status -ne 85 ]; then
  say "FAILED, emulator status $status; the console log is build/vm/console.log"
  exit 1
fi
