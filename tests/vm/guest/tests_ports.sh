# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# One drive with two controllers: they share firmware slots and the image that is being downloaded.

# plug_ports OPTION=VALUE...: the drive "dual", as port1 in slot 1 and port2 in slot 2
plug_ports() {
  for port in 1 2; do plug port$port $port subsys=dual serial=SN-dual "$@"; done
}

test_a_drive_with_two_ports_is_flashed_once_into_one_slot() {
  plug_ports
  payload 16384
  update
  expect outcomes "SN-dual Success
SN-dual Success" "$(outcomes)"
  expect "commits through both ports" "commit slot 2 action 1" "$(told port1 | grep commit)"
  expect_image_in port1 2
  logged "the same drive as at 0000:$(short_address_of port1), which was updated already; the result is the same"
  reset_plugged port1
  reset_plugged port2
  expect revisions "SN-dual NEW_REV
SN-dual NEW_REV" "$(revisions)"
}

test_a_failure_of_a_drive_with_two_ports_is_that_of_both() {
  plug_ports fw-commit-statuses=0x4107
  payload 16384
  update
  expect results "263
263" "$(results)"
  expect "commits through both ports" "commit slot 2 action 1" "$(told port1 | grep commit)"
}

test_two_runs_at_once_do_not_mix_images_in_a_drive_with_two_ports() {
  plug_ports fw-download-delay=500
  payload 40960
  update_by_library port1 >/tmp/first &
  run=$!
  wait_for "the download to begin" has_begun port1
  expect "the result through the second port" -16 "$(update_by_library port2)"
  wait $run
  expect "the result through the first port" 267 "$(cat /tmp/first)"
  expect "commits through both ports" "commit slot 2 action 1" "$(told port1 | grep commit)"
  expect_image_in port1 2
}

test_a_drive_with_two_ports_is_flashed_through_the_one_that_answers() {
  plug_ports
  rm /dev/$(node_of port1)
  payload 8192
  update
  expect "commits through both ports" "commit slot 2 action 1" "$(told port2 | grep commit)"
  expect_image_in port2 2
}
