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

# Milliseconds since the machine started
now() { awk '{ print int($1 * 1000) }' /proc/uptime; }

test_nvme_cli_flashes_the_same_bytes_with_as_few_commands() {
  plug ours 1
  plug theirs 2 device-id=43010
  payload 8388608
  clear_told ours
  clear_told theirs
  started=$(now)
  expect result 267 "$(update_by_library ours)"
  our_time=$(($(now) - started))
  started=$(now)
  nvme_cli fw-download /dev/$(node_of theirs) --fw=$component/payload/image.bin >/dev/null || fail "fw-download failed"
  nvme_cli fw-commit /dev/$(node_of theirs) --slot=2 --action=1 >/dev/null || fail "fw-commit failed"
  their_time=$(($(now) - started))
  expect_image_in ours 2
  expect_image_in theirs 2
  expect "slots as nvme-cli sees them" "$(nvme_cli fw-log /dev/$(node_of theirs) | grep -v '^Firmware Log')" \
    "$(nvme_cli fw-log /dev/$(node_of ours) | grep -v '^Firmware Log')"
  our_commands=$(told ours | wc -l) their_commands=$(told theirs | wc -l)
  echo "  8 MiB: $our_commands firmware commands in $our_time ms; nvme-cli $their_commands in $their_time ms"
  [ $our_commands -le $their_commands ] || fail "nvme-cli needs fewer commands"
}
