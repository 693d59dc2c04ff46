# shellcheck shell=bash disable=SC2154  # names that scripts/test-vm.sh defines
# Packs the file system of the virtual machine: busybox, the component and its libraries, the tests and the kernel's
# modules. Sourced by scripts/test-vm.sh, which defines impossible, root and vm.

# first_of WHAT PATH...: the first path that exists; newer packages have theirs below usr/.
first_of() {
  local what=$1 path
  shift
  for path; do
    [ ! -e "$path" ] || { echo "$path"; return; }
  done
  impossible "the unpacked packages have no $what"
}

# copy_libraries GUEST PROGRAM...: what the programs load, the component's own libraries aside.
copy_libraries() {
  local guest=$1 library
  shift
  for library in $(ldd "$@" | grep -o '/[^ ]*' | grep -v : | grep -v "^$vm" | sort -u); do
    mkdir -p "$guest$(dirname "$library")"
    cp -L "$library" "$guest$library"
  done
}

# add_module GUEST MODULES NAME: a module after those that it needs. The order of loading goes to modules/order.
# A module that the kernel has built in, or does not know, is left out.
add_module() {
  local guest=$1 modules=$2 name=${3//-/_} file needed target
  target=$guest/modules/$name.ko
  [ ! -e "$target" ] || return 0
  file=$(find "$modules" -name "${name//_/[_-]}.ko*" | head -1)
  [ -n "$file" ] || return 0
  case $file in
    *.xz) xz -dc "$file" >"$target" ;;
    *) cp "$file" "$target" ;;
  esac
  needed=$(objcopy -O binary --only-section=.modinfo "$target" /dev/stdout | tr '\0' '\n' | sed -n 's/^depends=//p')
  for needed in ${needed//,/ }; do add_module "$guest" "$modules" "$needed"; done
  echo "$name.ko" >>"$guest/modules/order"
}

# add_peer GUEST: nvme-cli with what it loads, in a folder of its own. Its library has the name of the component's, and
# the two must never meet: only nvme_cli in the guest's tests looks into this folder.
add_peer() {
  local guest=$1 unpacked=$vm/peer library
  local -x LD_LIBRARY_PATH=$unpacked/usr/lib/x86_64-linux-gnu:$unpacked/lib/x86_64-linux-gnu
  mkdir -p "$guest/peer"
  cp "$unpacked/usr/sbin/nvme" "$guest/peer/"
  for library in $(ldd "$unpacked/usr/sbin/nvme" | grep -o '/[^ ]*'); do
    cp -L "$library" "$guest/peer/"
  done
}

# make_guest KERNEL: packs the file system for a kernel that is unpacked in $vm/KERNEL into $vm/KERNEL.initramfs.
make_guest() {
  local kernel=$1 guest=$vm/$1.guest busybox modules module
  busybox=$(first_of busybox "$vm"/tools/{,usr/}bin/busybox)
  modules=$(first_of "kernel modules" "$vm/$kernel"/{,usr/}lib/modules/*)
  rm -rf "$guest"
  mkdir -p "$guest"/{bin,component/payload,dev,drives,modules,proc,run,sys,sys-live,tmp,tests}
  cp "$busybox" "$guest/bin/"
  ln -s busybox "$guest/bin/sh"
  cp "$vm"/build/{vm_{drive,exit,log,probe},nvmepcissd-tool} "$guest/bin/"
  cp "$vm"/build/{nvmepcissd,librbkl.so.0,drive_library/libnvme.so} "$root/simulator/fwkitinstall.sh" "$guest/component/"
  cp "$root"/tests/vm/guest/*.sh "$guest/tests/"
  install "$root/tests/vm/guest/init" "$guest/init"
  copy_libraries "$guest" "$guest"/component/{nvmepcissd,libnvme.so,librbkl.so.0} "$guest"/bin/{vm_*,nvmepcissd-tool}
  add_peer "$guest"
  for module in nvme-tcp md-mod raid1; do add_module "$guest" "$modules" $module; done
  [ -e "$guest/modules/nvme_tcp.ko" ] || impossible "the kernel's package has no module nvme-tcp"
  (cd "$guest" && find . | "$busybox" cpio -o -H newc 2>/dev/null) >"$vm/$kernel.initramfs"
}
