# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# The component beside nvme-cli, on the same drives.

nvme_cli() { LD_LIBRARY_PATH=/peer /peer/nvme "$@"; }

test_nvme_cli_lists_the_same_drives() {
  plug one 1 drive=disk1 revision=REV_1
  plug two 2 drive=disk2 revision=REV_2
  nvme_cli list -o json >/tmp/list
  expect "our list" "SN-one REV_1
SN-two REV_2" "$(revisions)"
  for drive in "SN-one REV_1" "SN-two REV_2"; do
    expect "nvme-cli's list" "$drive" \
      "$(sed -n 's/.*"\(SerialNumber\|Firmware\)" *: *"\([^"]*\)".*/\1 \2/p' /tmp/list | values_beside ${drive% *})"
  done
}
# values_beside SERIAL: "SERIAL REVISION", whichever of the two comes first
values_beside() {
  awk -v serial=$1 '$1 == "Firmware" { revision = $2 } $1 == "SerialNumber" { found = $2 }
    revision && found { if (found == serial) print found, revision; revision = found = "" }'
}

# measured COMMAND...: its costs go to /tmp/cost, one line each
measured() { time -a -o /tmp/cost -f '%e %U %S' env LD_LIBRARY_PATH=/peer "$@" || fail "$* failed"; }
# Milliseconds of all lines in /tmp/cost, which goes: from begin to end, and of the processor
take_cost() {
  awk '{ elapsed += $1; processor += $2 + $3 } END { print int(elapsed * 1000 + 0.5), int(processor * 1000 + 0.5) }' /tmp/cost
  rm /tmp/cost
}
# least FIELD FILE
least() { cut -d ' ' -f $1 $2 | sort -n | head -1; }

slots_by_nvme_cli() { nvme_cli fw-log /dev/$(node_of $1) | grep -v '^Firmware Log'; }

test_nvme_cli_flashes_the_same_bytes_with_no_fewer_commands_and_no_faster() {
  plug ours 1
  plug theirs 2 device-id=43010
  payload 8388608
  address=$(short_address_of ours | tr :. '  ') node=/dev/$(node_of theirs)
  cd $component || return
  keep_time
  for attempt in 1 2 3 4 5; do
    clear_told ours
    clear_told theirs
    expect result 267 "$(measured vm_probe update $address payload/image.bin)"
    take_cost >>/tmp/our_costs
    measured /peer/nvme fw-download $node --fw=payload/image.bin >/dev/null
    measured /peer/nvme fw-commit $node --slot=2 --action=1 >/dev/null
    take_cost >>/tmp/their_costs
  done
  stop_keeping_time
  cd /
  expect_image_in ours 2
  expect_image_in theirs 2
  expect "slots as nvme-cli sees them" "$(slots_by_nvme_cli theirs)" "$(slots_by_nvme_cli ours)"
  our_commands=$(told ours | wc -l) their_commands=$(told theirs | wc -l)
  [ $our_commands -le $their_commands ] || fail "nvme-cli needs fewer commands"
  # The least of several: what the host does meanwhile only adds to them. The processor's time is the same to 10 ms from
  # one run to the next. The whole time holds what the emulated drives waited for, up to twice as much in one run as in
  # another; so there a quarter more is no finding.
  our_time=$(least 1 /tmp/our_costs) their_time=$(least 1 /tmp/their_costs)
  our_work=$(least 2 /tmp/our_costs) their_work=$(least 2 /tmp/their_costs)
  echo "  8 MiB: $our_commands firmware commands in $our_time ms, $our_work of the processor;" \
    "nvme-cli $their_commands in $their_time ms, $their_work of the processor"
  [ $our_work -le $their_work ] || fail "nvme-cli takes less of the processor"
  [ $our_time -le $((their_time * 5 / 4)) ] || fail "nvme-cli is faster"
}
