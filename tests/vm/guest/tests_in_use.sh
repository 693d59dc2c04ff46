# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Drives whose namespaces are in use, under load, while they are flashed and reset. What was written is compared.

block_device_of() { echo /dev/$(basename $(folder_of_slot $(slot_of $1))/nvme*n1); }

# start_load FOLDER: writes files and compares them until stop_load; returns once the first is written
start_load() {
  rm -f /tmp/stop /tmp/load
  (
    number=0
    until [ -e /tmp/stop ]; do
      number=$((number + 1))
      head -c 65536 /dev/urandom >/tmp/written
      cp /tmp/written $1/file$((number % 20)) || echo "file $number cannot be written" >>/tmp/lost
      sync
      cmp /tmp/written $1/file$((number % 20)) || echo "file $number reads otherwise" >>/tmp/lost
      echo $number >/tmp/load
    done
  ) &
  load=$!
  for second in $(seq 60); do [ -e /tmp/load ] && return; sleep 1; done
  fail "the load wrote nothing for a minute"
}

stop_load() {
  touch /tmp/stop
  wait $load
  expect "what the load lost" "" "$(cat /tmp/lost 2>/dev/null)"
  # The file that was being written when the flash ended counts, however slow the machine is.
  [ $(cat /tmp/load) -gt 1 ] || fail "the load wrote nothing while the drives were flashed"
  rm -f /tmp/stop /tmp/lost /tmp/load
}

# read_again FOLDER DEVICE: what a folder holds, read from the drives after the page cache was emptied
read_again() {
  (cd $1 && sha256sum file*) >/tmp/digests
  sync
  echo 3 >/proc/sys/vm/drop_caches
  (cd $1 && sha256sum -c -s /tmp/digests) || fail "files in $1 have changed"
}

test_a_mounted_drive_keeps_its_files_while_it_is_flashed() {
  keep_time
  plug mounted 1 drive=disk4 fw-download-delay=200
  device=$(block_device_of mounted)
  mkdir -p /mnt
  mke2fs -q $device 2>/dev/null >&2
  mount -t ext4 $device /mnt || fail "$device cannot be mounted"
  payload 65536
  start_load /mnt
  update
  reset_plugged mounted
  stop_load
  expect outcomes "SN-mounted Success" "$(outcomes)"
  expect revisions "SN-mounted NEW_REV" "$(revisions)"
  read_again /mnt
  umount /mnt || fail "/mnt cannot be unmounted"
  stop_keeping_time
}

# make_mirror DEVICE DEVICE: /dev/md0 of two drives that hold the same, without metadata
make_mirror() {
  echo md0 >/sys/module/md_mod/parameters/new_array
  array=/sys/block/md0/md
  echo none >$array/metadata_version
  echo raid1 >$array/level
  echo 2 >$array/raid_disks
  echo none >$array/resync_start
  echo $(($(cat /sys/class/block/${1##*/}/size) / 2)) >$array/component_size
  for device; do
    cat /sys/class/block/${device##*/}/dev >$array/new_dev
  done
  slot=0
  for device; do
    echo $slot >$array/dev-${device##*/}/slot
    slot=$((slot + 1))
  done
  echo active >$array/array_state
}

test_three_drives_with_a_mirror_and_swap_under_load_are_flashed() {
  keep_time
  for slot in 1 2 3; do plug drive$slot $slot drive=disk$slot fw-download-delay=100; done
  make_mirror $(block_device_of drive1) $(block_device_of drive2)
  mkdir -p /mnt
  mke2fs -q /dev/md0 2>/dev/null >&2
  mount -t ext4 /dev/md0 /mnt || fail "the mirror cannot be mounted"
  mkswap $(block_device_of drive3) >/dev/null
  swapon $(block_device_of drive3) || fail "no swap"
  payload 65536
  start_load /mnt
  update
  for slot in 1 2 3; do reset_plugged drive$slot; done
  stop_load
  expect outcomes "SN-drive1 Success
SN-drive2 Success
SN-drive3 Success" "$(outcomes)"
  expect revisions "SN-drive1 NEW_REV
SN-drive2 NEW_REV
SN-drive3 NEW_REV" "$(revisions)"
  expect "drives in the mirror" "in_sync in_sync" "$(echo $(cat /sys/block/md0/md/dev-*/state))"
  read_again /mnt
  umount /mnt || fail "/mnt cannot be unmounted"
  swapoff $(block_device_of drive3) || fail "swap cannot be ended"
  echo clear >/sys/block/md0/md/array_state
  stop_keeping_time
}
