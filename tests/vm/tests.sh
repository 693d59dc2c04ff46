# The tests that run inside the virtual machine. A test is a function test_*; what it does not find as expected fails
# it. Prints one line a test, what failed before it, and the counts; exits non-zero when a test failed.
#
# Drives that take firmware are vm_drive processes behind the kernel's NVMe/TCP driver. Their sysfs folders are laid
# over with folders that make them PCIe drives; what they are told is kept in /drives/NAME: commands.log and image.

# No name or path in here has a blank:
# shellcheck disable=SC2046,SC2086,SC2115,SC2231

export RBKL_SIMULATOR_PARTITION=/tmp/rollback
export FWKIT_LOG=/tmp/fwkit.log
component=/component
drives=/drives
failed_text="ERROR: Failed to Update Firmware"
failures=0

# Expectations

fail() {
  echo "  $1"
  failures=$((failures + 1))
}

# expect WHAT EXPECTED ACTUAL
expect() {
  [ "$2" = "$3" ] || fail "$1: expected:
$2
  but it is:
$3"
}

seconds_up() { cut -d . -f 1 /proc/uptime; }

# wait_for WHAT COMMAND...: until the command succeeds, but not forever. A loaded host makes everything in here slow.
wait_for() {
  what=$1
  shift
  end=$(($(seconds_up) + 60))
  until "$@" 2>/dev/null >&2; do
    if [ $(seconds_up) -gt $end ]; then
      fail "waited in vain for $what"
      return 1
    fi
    sleep 0.05
  done
}

# Drives that take firmware

# start NAME PORT OPTION=VALUE...
start() {
  name=$1 port=$2
  shift 2
  mkdir -p $drives/$name
  vm_drive folder=$drives/$name port=$port name=nqn.2026-01.vm:$name serial=SN-$name "$@" &
  echo $! >$drives/$name/process
  wait_for "drive $name to listen" grep -qi ":$(printf %04x $port) 00000000:0000 0A" /proc/net/tcp
}

# A drive that dies closes its connection. Only a host that stands still for a while would need to be kept alive.
connect() {
  options=transport=tcp,traddr=127.0.0.1,trsvcid=$2,nqn=nqn.2026-01.vm:$1
  echo "$options,nr_io_queues=1,reconnect_delay=1,keep_alive_tmo=120" >/dev/nvme-fabrics
}

# controller_of NAME: the kernel's name of its controller
controller_of() {
  for controller in /sys-live/class/nvme/*; do
    [ "$(cat $controller/subsysnqn)" != nqn.2026-01.vm:$1 ] || basename $controller
  done
}

# lay_over NAME ADDRESS IDS: makes its controller a PCIe drive in sysfs. IDS: vendor device subvendor subdevice.
lay_over() {
  controller=$(controller_of $1)
  folder=/tmp/sysfs-$controller
  rm -rf $folder
  mkdir -p $folder/device
  for attribute in /sys-live/class/nvme/$controller/*; do
    case ${attribute##*/} in
      device | transport | address) ;;
      *) ln -s $attribute $folder/ ;;
    esac
  done
  echo pcie >$folder/transport
  echo $2 >$folder/address
  set -- $3
  echo 0x$1 >$folder/device/vendor
  echo 0x$2 >$folder/device/device
  echo 0x$3 >$folder/device/subsystem_vendor
  echo 0x$4 >$folder/device/subsystem_device
  mount --bind $folder /sys/class/nvme/$controller/
}

# attach NAME PORT ADDRESS OPTION=VALUE...
attach() {
  name=$1 port=$2 address=$3
  shift 3
  start $name $port "$@"
  connect $name $port
  lay_over $name $address "f101 a801 f1a0 1001"
}

# Resets a drive's controller and waits until it is back.
reset() {
  controller=$(controller_of $1)
  echo 1 >/sys-live/class/nvme/$controller/reset_controller
  wait_for "drive $1 to come back" grep -q live /sys-live/class/nvme/$controller/state
}

detach_all() {
  for folder in $drives/*; do
    [ -d $folder ] || continue
    controller=$(controller_of $(basename $folder))
    if [ -n "$controller" ]; then
      umount /sys/class/nvme/$controller/ 2>/dev/null  # not every drive is laid over
      echo 1 >/sys-live/class/nvme/$controller/delete_controller
    fi
    kill $(cat $folder/process) 2>/dev/null
  done
  wait
  rm -rf $drives/*
}

# The component

# package VENDOR DEVICE SUBVENDOR SUBDEVICE: the one model that the package is for
package() {
  cat >$component/package.xml <<END
<SoftwareComponent><SupportedDevices><Device componentID="1">
<PCIInfo deviceID="$2" subDeviceID="$4" vendorID="$1" subVendorID="$3"/><Display>Drive of the test</Display>
</Device></SupportedDevices></SoftwareComponent>
END
}

# payload SIZE: bytes that repeat nowhere near
payload() {
  rm -f $component/payload/*
  head -c $1 /dev/urandom >$component/payload/image.bin
}

# update [LABEL]: runs the component; the document is in /tmp/LABEL.xml, the debug log in /tmp/LABEL.log
update() {
  label=${1:-update}
  (cd $component && ./nvmepcissd -u -o /tmp/$label.xml -d /tmp/$label.log) || fail "update $label: exit status $?"
}

# What the update's document says of each drive, in order: its serial number and what became of it. A drive that
# failed stands there without a name.
outcomes() {
  sed -e 's/<Device /\n&/g' -e 's/<SPStatus result = "false"/\n&/g' /tmp/${1:-update}.xml |
    sed -n -e '/result = "true"/s/.*Serial Number: \([^"]*\)".*/\1 Success/p' \
      -e 's/^<SPStatus result = "false" ><Message id="0" >\([^<]*\)<.*/\1/p'
}

# The library's results of the drives that failed, as numbers of 32 bits without sign
results() { sed -n 's/.*API return value = //p' /tmp/${1:-update}.log; }

# Serial number and running revision of every drive
revisions() { (cd $component && vm_probe list) | cut -d ' ' -f 4-; }

commands() { cat $drives/$1/commands.log; }
clear_commands() { : >$drives/$1/commands.log; }
expect_image() { cmp $component/payload/image.bin $drives/$1/image >&2 || fail "drive $1 took other bytes"; }
rolled_back() { ls /tmp/rollback 2>/dev/null; }
logged() { grep -qF "$1" /tmp/syslog || fail "not in the system log: $1"; }

# The revision that sysfs has of a controller, without its padding
revision_in_sysfs() { sed 's/ *$//' /sys-live/class/nvme/$1/firmware_rev; }

# Emulated PCIe drives

package_for_emulated() { package 1b36 0010 1af4 1100; }

test_emulated_drives_are_listed_with_their_identity() {
  package_for_emulated
  revision=$(revision_in_sysfs nvme0)
  expect drives "00:04.0 1b36:0010 1af4:1100 SN0001 $revision
01:00.0 1b36:0010 1af4:1100 SN0002 $revision" "$(cd $component && vm_probe list)"
}

inventory_of() {
  printf '<Device  vendorID="1b36" deviceID="10" subVendorID="1af4" subDeviceID="1100"  display="" '
  printf 'enum = "Serial Number: %s" ><Application componentType="FRMW"  version="%s"  display=""/></Device>' $1 "$2"
}

test_component_takes_an_inventory_of_emulated_drives() {
  package_for_emulated
  revision=$(cat /sys-live/class/nvme/nvme0/firmware_rev)
  document=$(cd $component && ./nvmepcissd -i) || fail "exit status $?"
  head='<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">'
  expect document "$head$(inventory_of SN0001 "$revision")$(inventory_of SN0002 "$revision")</SVMInventory>" "$document"
}

test_a_drive_that_the_package_does_not_name_is_left_alone() {
  package 8086 5845 1af4 1100
  expect drives "00:06.0 8086:5845 1af4:1100 SN0003" "$(cd $component && vm_probe list | cut -d ' ' -f 1-4)"
  rm $component/package.xml
  expect "drives without a package" "" "$(cd $component && vm_probe list)"
  expect "update without a package" -19 "$(cd $component && vm_probe update 0 4 0 /init)"
}

test_emulated_drives_take_no_firmware_and_are_marked_failed() {
  package_for_emulated
  payload 8192
  update
  expect outcomes "$failed_text
$failed_text" "$(outcomes)"
  expect results "4294967201
4294967201" "$(results)"
  expect "rollback partition" "" "$(rolled_back)"
  logged "NVMe drive 0000:01:00.0: it takes no firmware"
}

# Drives that take firmware

test_live_activation_shows_at_once_and_only_in_the_drive() {
  attach live 4421 0000:41:00.0 live=yes
  payload 10000
  update
  expect outcomes "SN-live Success" "$(outcomes)"
  expect commands "reset running OLD_REV
download 0 4096
download 4096 4096
download 8192 1808
commit slot 2 action 1" "$(commands live)"
  expect_image live
  expect revision "SN-live NEW_REV" "$(revisions)"
  expect "revision in sysfs" OLD_REV "$(revision_in_sysfs $(controller_of live))"
  logged "NVMe drive 0000:41:00.0: committed to slot 2; it ran OLD_REV and runs NEW_REV"
  expect "rollback partition" image.bin "$(rolled_back)"
  cmp $component/payload/image.bin /tmp/rollback/image.bin || fail "the rollback partition has other bytes"
}

test_reset_bound_activation_shows_after_a_controller_reset() {
  attach bound 4422 0000:42:00.0
  payload 4096
  update
  expect outcomes "SN-bound Success" "$(outcomes)"
  expect_image bound
  expect "revision before the reset" "SN-bound OLD_REV" "$(revisions)"
  reset bound
  expect "revision after the reset" "SN-bound NEW_REV" "$(revisions)"
  logged "NVMe drive 0000:42:00.0: committed to slot 2, for the next reset; it runs OLD_REV"
}

test_an_owed_reset_is_a_success_of_267() {
  attach owes 4423 0000:43:00.0 commits=0x410B,0x110,0x2111,0x0B,0x0B,0x0B,0x0B
  payload 4100
  for status in 10B 110 111; do
    expect "result for $status" 267 "$(cd $component && vm_probe update 43 0 0 payload/image.bin)"
    expect_image owes
  done
  expect "result for 0B" 11 "$(cd $component && vm_probe update 43 0 0 payload/image.bin)"
  update
  expect outcomes "SN-owes Success" "$(outcomes)"
  reset owes
  expect revision "SN-owes NEW_REV" "$(revisions)"
  logged "NVMe drive 0000:43:00.0: committed; it needs a reset to run the firmware"
}

test_a_refused_image_fails_and_is_not_kept_for_rollback() {
  attach picky 4424 0000:44:00.0 commits=0x4107
  payload 4096
  update
  expect outcomes "$failed_text" "$(outcomes)"
  expect results 263 "$(results)"
  expect revision "SN-picky OLD_REV" "$(revisions)"
  expect "rollback partition" "" "$(rolled_back)"
  logged "NVMe drive 0000:44:00.0: Firmware Commit: Invalid Firmware Image (0x107, do not retry)"
}

test_one_drive_of_three_fails_and_the_others_are_updated() {
  attach one 4425 0000:47:00.0 live=yes
  attach two 4426 0000:46:00.0 pieces=0,0x4114
  attach three 4427 0000:45:00.0 commits=0x10B
  payload 8196
  update
  expect outcomes "SN-three Success
$failed_text
SN-one Success" "$(outcomes)"
  expect results 276 "$(results)"
  expect_image one
  expect_image three
  [ ! -e $drives/two/image ] || fail "the second drive took an image"
  expect "rollback partition" image.bin "$(rolled_back)"
  reset three
  expect revisions "SN-three NEW_REV
SN-two OLD_REV
SN-one NEW_REV" "$(revisions)"
}

test_large_pieces_and_a_short_last_one_arrive_whole() {
  attach large 4428 0000:48:00.0 granularity=8 activation=20
  payload 98308
  update
  expect outcomes "SN-large Success" "$(outcomes)"
  expect commands "reset running OLD_REV
download 0 32768
download 32768 32768
download 65536 32768
download 98304 4
commit slot 2 action 1" "$(commands large)"
  expect_image large
}

test_pieces_stay_below_the_transfer_limit() {
  attach narrow 4429 0000:49:00.0 granularity=4 transfer-shift=1
  payload 16384
  update
  expect outcomes "SN-narrow Success" "$(outcomes)"
  expect commands "reset running OLD_REV
download 0 8192
download 8192 8192
commit slot 2 action 1" "$(commands narrow)"
  expect_image narrow
}

test_pieces_shrink_to_what_the_kernel_transfers_at_once() {
  attach shy 4438 0000:51:00.0 granularity=4 transfer-shift=3 first-transfer-shift=1
  payload 16388
  update
  expect outcomes "SN-shy Success" "$(outcomes)"
  expect commands "reset running OLD_REV
download 0 8192
download 8192 8192
download 16384 4
commit slot 2 action 1" "$(commands shy)"
  expect_image shy
  logged "NVMe drive 0000:51:00.0: the kernel refused a piece of 16384 bytes; pieces have 8192 bytes from here on"
}

test_the_slot_is_one_that_can_be_written() {
  attach only 4439 0000:52:00.0 firmware-updates=0x02
  attach fixed 4440 0000:53:00.0 firmware-updates=0x03
  attach factory 4441 0000:54:00.0 firmware-updates=0x05
  attach seven 4442 0000:55:00.0 firmware-updates=0x1F
  payload 4096
  update first
  expect outcomes "SN-only Success
$failed_text
SN-factory Success
SN-seven Success" "$(outcomes first)"
  expect "the result without a slot" 4294967266 "$(results first)"
  for drive in only factory seven; do reset $drive; done
  update second
  expect "slots of a drive that has one" "commit slot 1 action 1
commit slot 1 action 1" "$(commands only | grep commit)"
  expect "slots of a drive whose one slot is read-only" "" "$(commands fixed | grep -v reset)"
  expect "slots of a drive with two of which one is read-only" "commit slot 2 action 1
commit slot 2 action 1" "$(commands factory | grep commit)"
  expect "slots of a drive with seven of which one is read-only" "commit slot 2 action 1
commit slot 3 action 1" "$(commands seven | grep commit)"
}

test_a_drive_that_is_busy_for_a_while_is_waited_for() {
  attach busy 4430 0000:4a:00.0 firmware-updates=0x07 busy-reads=2 pieces=0x0006,0x0021 commits=0x1806,0x2006 \
    slot-logs=0x4006,0x4006
  payload 4096
  update
  expect outcomes "SN-busy Success" "$(outcomes)"
  expect commands "reset running OLD_REV
busy
busy
download 0 4096
download 0 4096
download 0 4096
commit slot 2 action 1
commit slot 2 action 1
commit slot 2 action 1" "$(commands busy)"
  expect_image busy
}

test_the_second_of_two_updates_at_once_is_turned_away() {
  attach wanted 4431 0000:4b:00.0 live=yes busy-until=/tmp/go activation=1200
  payload 4096
  rm -f /tmp/go
  update first &
  first=$!
  wait_for "the first update to find the drive busy" grep -q busy $drives/wanted/commands.log
  update second
  expect "the second's outcome" "$failed_text" "$(outcomes second)"
  expect "the second's result" 4294967280 "$(results second)"
  logged "NVMe drive 0000:4b:00.0: another run is updating this drive"
  touch /tmp/go
  wait $first
  expect "the first's outcome" "SN-wanted Success" "$(outcomes first)"
  expect_image wanted
  expect commands "reset running OLD_REV
busy
download 0 4096
commit slot 2 action 1" "$(commands wanted | uniq)"
}

test_a_killed_run_leaves_the_drive_to_the_next_one() {
  attach left 4443 0000:56:00.0 live=yes busy-until=/tmp/go activation=1200
  payload 4096
  rm -f /tmp/go
  (cd $component && exec ./nvmepcissd -u -o /tmp/killed.xml) &
  run=$!
  wait_for "the run to find the drive busy" grep -q busy $drives/left/commands.log
  kill -9 $run
  wait $run
  touch /tmp/go
  update
  expect outcomes "SN-left Success" "$(outcomes)"
  expect_image left
}

test_a_controller_that_dies_in_mid_download_is_updated_by_the_next_run() {
  attach mortal 4432 0000:4c:00.0 dies-at-piece=3
  attach steady 4433 0000:4d:00.0 live=yes
  payload 20480
  update
  expect outcomes "$failed_text
SN-steady Success" "$(outcomes)"
  expect "commands to the one that died" "reset running OLD_REV
download 0 4096
download 4096 4096
download 8192 4096" "$(commands mortal)"
  [ ! -e $drives/mortal/image ] || fail "the drive that died took an image"

  clear_commands mortal
  start mortal 4432
  wait_for "the drive to come back" grep -q live /sys-live/class/nvme/$(controller_of mortal)/state
  update
  expect "outcomes of the next run" "SN-mortal Success
SN-steady Success" "$(outcomes)"
  expect_image mortal
  reset mortal
  expect revisions "SN-mortal NEW_REV
SN-steady NEW_REV" "$(revisions)"
}

test_a_drive_without_a_device_node_is_listed_and_fails_alone() {
  attach hidden 4444 0000:57:00.0
  attach shown 4445 0000:58:00.0
  rm /dev/$(controller_of hidden)
  expect drives "SN-hidden -2
SN-shown OLD_REV" "$(revisions)"
  payload 4096
  update
  expect outcomes "$failed_text
SN-shown Success" "$(outcomes)"
  expect results 4294967294 "$(results)"
  expect_image shown
}

test_drives_behind_a_network_are_none_of_its_business() {
  start remote 4446
  connect remote 4446
  expect drives "" "$(revisions)"
  expect commands "reset running OLD_REV" "$(commands remote)"
}

test_drives_that_cannot_be_told_apart_by_address_are_left_out() {
  attach far 4434 0001:4e:00.0
  attach twin 4435 0000:4f:00.0
  attach double 4436 0000:4f:00.0
  attach plain 4437 0000:50:00.0
  expect drives "SN-plain OLD_REV" "$(revisions)"
  payload 4096
  for bus in 4e 4f; do
    expect "result for bus $bus" -19 "$(cd $component && vm_probe update $bus 0 0 payload/image.bin)"
  done
  logged "NVMe drive 0001:4e:00.0 ($(controller_of far)) is left out: it is in a PCI domain other than 0"
}

run() {
  before=$failures
  rm -rf /tmp/rollback /tmp/*.xml /tmp/*.log
  package f101 a801 f1a0 1001
  begin=$(cut -d ' ' -f 1 /proc/uptime)
  $1
  detach_all
  if [ $failures -eq $before ]; then
    passed=$((passed + 1))
    echo "PASSED $1 ($(echo "$(cut -d ' ' -f 1 /proc/uptime) - $begin" | bc) s)"
  else
    failed=$((failed + 1))
    echo "FAILED $1"
  fi
}

passed=0 failed=0
# shellcheck disable=SC2013
for test in $(sed -n 's/^\(test_[a-z0-9_]*\)() {$/\1/p' "$0"); do run $test; done
[ $failed -eq 0 ] || cat /tmp/syslog
echo "$passed passed, $failed failed"
[ $passed -gt 0 ] && [ $failed -eq 0 ]
