# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Updates of emulated PCIe drives that take firmware.

test_plugged_drives_are_listed_with_their_identity() {
  plug one 1 revision=REV_1
  plug two 2 revision=REV_2 device-id=43010
  expect drives "$(short_address_of one) f101:a801 f1a0:1001 SN-one REV_1" "$(cd $component && vm_probe list)"
}

test_three_plugged_drives_run_the_image_after_a_reset() {
  for slot in 1 2 3; do plug drive$slot $slot; done
  payload 40964
  update
  expect outcomes "SN-drive1 Success
SN-drive2 Success
SN-drive3 Success" "$(outcomes)"
  expect "revisions before the reset" "SN-drive1 OLD_REV
SN-drive2 OLD_REV
SN-drive3 OLD_REV" "$(revisions)"
  for slot in 1 2 3; do
    expect_image_in drive$slot 2
    reset_plugged drive$slot
    expect "revision in sysfs" NEW_REV "$(revision_in_sysfs $(node_of drive$slot))"
  done
  expect "revisions after the reset" "SN-drive1 NEW_REV
SN-drive2 NEW_REV
SN-drive3 NEW_REV" "$(revisions)"
  expect "rollback partition" image.bin "$(rolled_back)"
}

test_a_plugged_drive_gets_pieces_in_order_and_one_commit() {
  plug plain 1 fwug=2
  payload 24576
  clear_told plain
  update
  expect commands "download 0 8192
download 8192 8192
download 16384 8192
commit slot 2 action 1" "$(told plain)"
  expect_image_in plain 2
}

test_a_refusing_plugged_drive_fails_alone() {
  plug slot 1 fw-commit-statuses=0x4106
  plug image 2 fw-commit-statuses=0x4107
  plug activation 3 fw-commit-statuses=0x4113
  plug willing 4
  payload 8192
  update
  expect outcomes "$failed_text
$failed_text
$failed_text
SN-willing Success" "$(outcomes)"
  expect results "262
263
275" "$(results)"
  for drive in slot image activation; do
    expect "revision of $drive" OLD_REV "$(revision_in_sysfs $(node_of $drive))"
    expect "commits to $drive" "commit slot 2 action 1" "$(told $drive | grep commit)"
  done
  expect_image_in willing 2
}

test_an_owed_reset_of_a_plugged_drive_is_a_success_of_267() {
  plug conventional 1 fw-commit-statuses=0x10B
  plug subsystem 2 fw-commit-statuses=0x110
  plug controller 3 fw-commit-statuses=0x111
  payload 4096
  for drive in conventional subsystem controller; do
    expect "result of $drive" 267 "$(update_by_library $drive)"
    expect_image_in $drive 2
    reset_plugged $drive
  done
  expect revisions "SN-conventional NEW_REV
SN-subsystem NEW_REV
SN-controller NEW_REV" "$(revisions)"
}

test_slow_plugged_drives_are_waited_for() {
  plug slow 1 fw-download-delay=300 fw-commit-delay=3000
  payload 8192
  update
  expect outcomes "SN-slow Success" "$(outcomes)"
  expect_image_in slow 2
}

test_a_plugged_drive_that_is_removed_in_mid_download_fails_alone() {
  plug removed 1 fw-download-delay=1000
  plug steady 2
  payload 40960
  update &
  run=$!
  wait_for "the download to begin" has_begun removed
  yank removed
  notice_loss removed
  wait $run
  expect outcomes "$failed_text
SN-steady Success" "$(outcomes)"
  expect_image_in steady 2
  expect "drives" "SN-steady OLD_REV" "$(revisions)"
}
has_begun() { told $1 | grep -q download; }

test_a_plugged_drive_without_firmware_commands_is_marked_failed() {
  plug mute 1 frmw=0
  payload 4096
  update
  expect outcomes "$failed_text" "$(outcomes)"
  expect commands "" "$(told mute | grep -v reset)"
}

test_a_reset_in_mid_download_starts_the_download_again() {
  plug reset 1 fw-download-delay=1000
  payload 12288
  update &
  run=$!
  wait_for "the download to begin" has_begun reset
  reset_plugged reset
  wait $run
  expect outcomes "SN-reset Success" "$(outcomes)"
  expect_image_in reset 2
  logged "the controller was reset; the download starts again"
}
