# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Drives behind NVMe/TCP that are busy, shared, lost or ambiguous.

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

test_a_drive_in_another_domain_is_offered_where_its_address_is_unique() {
  attach far 4434 10000:4e:00.0
  expect drives "4e:00.0 f101:a801 f1a0:1001 SN-far OLD_REV" "$(cd $component && vm_probe list)"
  payload 4096
  update
  expect outcomes "SN-far Success" "$(outcomes)"
  expect_image far
}

test_of_drives_with_one_address_that_in_domain_0_is_offered() {
  attach near 4447 0000:59:00.0
  attach distant 4448 0001:59:00.0
  expect drives "SN-near OLD_REV" "$(revisions)"
  payload 4096
  expect result 267 "$(cd $component && vm_probe update 59 0 0 payload/image.bin)"
  expect_image near
  expect "commands to the other one" "reset running OLD_REV" "$(commands distant)"
  logged "NVMe drive 0001:59:00.0 ($(controller_of distant)) is left out"
}

test_drives_that_cannot_be_told_apart_by_address_are_left_out() {
  attach twin 4435 0000:4f:00.0
  attach double 4436 0000:4f:00.0
  attach plain 4437 0000:50:00.0
  expect drives "SN-plain OLD_REV" "$(revisions)"
  payload 4096
  expect result -19 "$(cd $component && vm_probe update 4f 0 0 payload/image.bin)"
  expect "commands to both" "reset running OLD_REV
reset running OLD_REV" "$(commands twin; commands double)"
  logged "NVMe drive 0000:4f:00.0 ($(controller_of twin)) is left out"
}

test_drives_on_one_bus_are_told_apart_by_device_and_function() {
  attach first 4449 0000:5b:00.0
  attach function 4450 0000:5b:00.1
  attach device 4451 0000:5b:01.0
  payload 4096
  for drive in first function device; do clear_commands $drive; done
  expect result 267 "$(cd $component && vm_probe update 5b 0 1 payload/image.bin)"
  expect_image function
  expect "commands to the others" "" "$(commands first; commands device)"
  expect result 267 "$(cd $component && vm_probe update 5b 1 0 payload/image.bin)"
  expect_image device
  expect "commands to the first" "" "$(commands first)"
}

test_a_drive_that_is_away_for_a_moment_is_waited_for() {
  attach away 4452 0000:5c:00.0 live=yes
  kill $(cat $drives/away/process)
  wait_for "the kernel to notice" grep -q connecting /sys-live/class/nvme/$(controller_of away)/state
  payload 4096
  update &
  run=$!
  sleep 2
  start away 4452 live=yes
  wait $run
  expect outcomes "SN-away Success" "$(outcomes)"
  expect_image away
}

test_a_commit_whose_answer_is_lost_is_not_sent_again() {
  attach losing 4453 0000:5d:00.0 dies-at-commit=yes
  payload 4096
  update &
  run=$!
  wait_for "the commit" grep -q commit $drives/losing/commands.log
  start losing 4453 revision=OLD_REV
  wait $run
  expect outcomes "$failed_text" "$(outcomes)"
  expect commits "commit slot 2 action 1" "$(commands losing | grep commit)"
}

# Fails for each drive that a process has open without O_CLOEXEC, and if it has none open.
expect_no_inherited_drive() {
  for descriptor in /proc/$1/fd/*; do
    case $(readlink $descriptor) in
      /dev/nvme*) sed -n 's/^flags:\t//p' /proc/$1/fdinfo/${descriptor##*/} ;;
    esac
  done >/tmp/flags
  expect "descriptors that children inherit" "" "$(grep -v '2[0-7]\{6\}$' /tmp/flags)"
  [ -s /tmp/flags ] || fail "the process has no drive open"
}

test_children_of_the_component_inherit_no_drive() {
  attach held 4454 0000:5e:00.0 busy-until=/tmp/go activation=1200
  payload 4096
  rm -f /tmp/go
  (cd $component && exec ./nvmepcissd -u -o /tmp/held.xml) &
  run=$!
  wait_for "the update to find the drive busy" grep -q busy $drives/held/commands.log
  expect_no_inherited_drive $run
  touch /tmp/go
  wait $run
  expect_image held
}
