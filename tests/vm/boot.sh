# shellcheck shell=bash disable=SC2154  # names that scripts/test-vm.sh defines
# Starts the virtual machine. Sourced by scripts/test-vm.sh, which defines vm.

readonly slots=6 disks=4

# machine_options KERNEL TESTS: one in a line. The clock counts instructions, and runs ahead while the processor is idle:
# waiting costs nothing, and how loaded the host is makes no difference. Without cx16, because this emulator's version of
# that instruction crashes newer kernels.
#
# Two drives of one model and one of another, without firmware commands, are there from the start. The tests plug others
# into the slots, on their own or as one of the controllers of the drive "dual", with or without one of the disks. They
# talk to the emulator's monitor through the second serial port. Paths are relative: a socket's has to be short.
machine_options() {
  local kernel=$1 tests=$2 folder=$vm/$1.machine i
  local image=("$vm/$kernel"/{,usr/}boot/vmlinuz-*)
  printf '%s\n' -accel tcg -icount shift=4,sleep=off -cpu qemu64,-cx16 -nodefaults -no-user-config -display none -no-reboot -M q35 -m 640 \
    -L "$vm/tools/usr/share/qemu" -L "$vm/tools/usr/share/seabios" \
    -kernel "$(compgen -G "${image[0]}" || compgen -G "${image[1]}")" -initrd "$vm/$kernel.initramfs" \
    -append "console=ttyS0 panic=-1 quiet mitigations=off tsc=reliable no_timer_check tests=$tests" \
    -device isa-debug-exit,iobase=0xf4,iosize=4 -serial stdio \
    -chardev "socket,id=monitor,path=monitor,server=on,wait=off" -mon chardev=monitor,mode=control \
    -chardev "socket,id=tests,path=monitor" -device isa-serial,chardev=tests,index=1 \
    -global ICH9-LPC.acpi-pci-hotplug-with-bridge-support=off \
    -device nvme-subsys,id=dual,nqn=dual -device pcie-root-port,id=root_port,bus=pcie.0,addr=5.0,chassis=20
  for ((i = 1; i <= slots; i++)); do
    printf '%s\n' -device "pcie-root-port,id=slot$i,bus=pcie.0,addr=1$i.0,chassis=$i,slot=$i"
  done
  for ((i = 1; i <= disks; i++)); do
    truncate -s 0 "$folder/disk$i"
    truncate -s 48M "$folder/disk$i"
    printf '%s\n' -blockdev "driver=file,node-name=disk$i,filename=$folder/disk$i,locking=off"
  done
  printf '%s\n' -device nvme,serial=SN0001,bus=pcie.0,addr=4.0 -device nvme,serial=SN0002,bus=root_port,addr=0.0 \
    -device nvme,serial=SN0003,bus=pcie.0,addr=6.0,use-intel-id=on
}

# boot KERNEL TESTS SECONDS: runs the tests, all when TESTS is empty; returns the emulator's exit status. The console's
# log is $vm/KERNEL.log.
boot() {
  local kernel=$1 tests=$2 seconds=$3 options
  rm -rf "$vm/$kernel.machine"
  mkdir -p "$vm/$kernel.machine"
  mapfile -t options < <(machine_options "$kernel" "$tests")
  (cd "$vm/$kernel.machine" &&
    timeout -k 10 "$seconds" "$vm/emulator/qemu-system-x86_64" "${options[@]}") >"$vm/$kernel.log" 2>&1 </dev/null
}
