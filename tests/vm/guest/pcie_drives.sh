# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Emulated PCIe drives that take firmware, in hot-plug slots 1 to 6. The emulator is told through its monitor, which is
# the second serial port; the drives' log pages tell what they were told.

# open_monitor: has to come first. Descriptor 3 is the monitor's input, /tmp/monitor its output.
open_monitor() {
  stty -F /dev/ttyS1 raw -echo
  : >/tmp/monitor
  (cat /dev/ttyS1 >>/tmp/monitor &)  # no job of this shell: tests wait for theirs
  exec 3>/dev/ttyS1
  # The first byte ends what the port's echo may have sent before.
  printf '\377\n' >&3
  monitor qmp_capabilities
}

# monitor COMMAND [ARGUMENTS]: the arguments in JSON
monitor() {
  answers=$(grep -c '^{"return' /tmp/monitor)
  printf '{"execute":"%s","arguments":{%s}}\n' "$1" "$2" >&3
  wait_for "the emulator to take $1 $2" has_answered || cat /tmp/monitor
}
has_answered() { [ $(grep -c '^{"return' /tmp/monitor) -gt $answers ]; }

# json OPTION=VALUE...: as members of an object, each after a comma
json() {
  for option; do
    value=${option#*=}
    case $value in
      true | false) ;;
      *[!0-9]* | '') value="\"$value\"" ;;
    esac
    printf ',"%s":%s' ${option%%=*} "$value"
  done
}

# plug NAME SLOT OPTION=VALUE...: a drive with a running revision of OLD_REV in slot 1 of three that can be written,
# unless the options say otherwise
plug() {
  name=$1 slot=$2
  shift 2
  for default in serial=SN-$name vendor-id=61697 device-id=43009 subsystem-vendor-id=61856 subsystem-id=4097 \
    model=Emulated revision=OLD_REV frmw=6 max_ioqpairs=1; do
    case " $* " in
      *" ${default%%=*}="*) ;;
      *) set -- "$@" $default ;;
    esac
  done
  monitor device_add "\"driver\":\"nvme\",\"id\":\"$name\",\"bus\":\"slot$slot\"$(json "$@")"
  echo $slot >/tmp/slot-of-$name
  wait_for "drive $name to be there" is_live $slot
}

is_live() { grep -q live $(folder_of_slot $1)/state; }
folder_of_slot() { echo /sys/bus/pci/devices/$(cat /sys/bus/pci/slots/$1/address).0/nvme/nvme*; }
slot_of() { cat /tmp/slot-of-$1; }
# Bus, device and function
short_address_of() { echo $(cut -d : -f 2- /sys/bus/pci/slots/$(slot_of $1)/address).0; }
node_of() { basename $(folder_of_slot $(slot_of $1)); }

# Resets a drive's controller and waits until it is back.
reset_plugged() {
  echo 1 >/sys/class/nvme/$(node_of $1)/reset_controller
  wait_for "drive $1 to come back" is_live $(slot_of $1)
}

# Removes a drive without warning the guest. The kernel may not notice it at once: see notice_loss.
yank() {
  # The root port's Slot Control: bit 10 turns the power off, 9 and 8 the indicator.
  config=/sys/bus/pci/devices/0000:00:1$(slot_of $1).0/config
  control=$(($(hexdump -s $((0x6c)) -n 2 -e '1/2 "%u"' $config) | 0x700))
  printf "\\$(printf %o $((control & 255)))\\$(printf %o $((control >> 8)))" |
    dd of=$config bs=2 seek=$((0x6c / 2)) conv=notrunc 2>/dev/null
}
notice_loss() { echo 1 >/sys/bus/pci/devices/0000:$(short_address_of $1)/remove; }

unplug_all() {
  for file in /tmp/slot-of-*; do
    [ -e $file ] || continue
    # Refused where the drive was yanked: the slot has no power already.
    echo 0 2>/dev/null >/sys/bus/pci/slots/$(cat $file)/power
  done
  wait_for "the slots to be empty" are_slots_empty
  rm -f /tmp/slot-of-* /tmp/told-*
}
are_slots_empty() { ! cat /sys/bus/pci/slots/[1-6]/power | grep -q 1; }

# What a drive was told about its firmware, and all that it was told, since clear_told
told() { told_all $1 | grep -E '^(reset|download|commit)'; }
told_all() { vm_log /dev/$(node_of $1) 0xC0 | tail -n +$(($(cat /tmp/told-$1 2>/dev/null || echo 0) + 1)); }
clear_told() { vm_log /dev/$(node_of $1) 0xC0 | wc -l >/tmp/told-$1; }

# The library's result for one drive, in decimal
update_by_library() {
  address=$(short_address_of $1)
  (cd $component && vm_probe update $(echo $address | tr :. '  ') payload/image.bin)
}

# expect_image_in NAME SLOT: the firmware slot has the payload
expect_image_in() {
  vm_log /dev/$(node_of $1) 0xC$2 >/tmp/image
  cmp $component/payload/image.bin /tmp/image >&2 || fail "slot $2 of drive $1 has other bytes"
}
