# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Drives without firmware commands.

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
