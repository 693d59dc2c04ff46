# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Updates of drives behind NVMe/TCP that do as they are told.

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
  logged "NVMe drive 0000:43:00.0: committed to slot 2, for the next reset; it runs OLD_REV"
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
  not_logged "the kernel refused a piece"
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
