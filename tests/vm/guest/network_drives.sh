# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# Drives that take firmware behind the kernel's NVMe/TCP driver: vm_drive processes. Their sysfs folders are laid over
# with folders that make them PCIe drives. What they are told is kept in /drives/NAME: commands.log and image.

# start NAME PORT OPTION=VALUE...
start() {
  name=$1 port=$2
  shift 2
  mkdir -p $drives/$name
  vm_drive folder=$drives/$name port=$port name=nqn.2026-01.vm:$name serial=SN-$name "$@" &
  echo $! >$drives/$name/process
  wait_for "drive $name to listen" grep -qi ":$(printf %04x $port) 00000000:0000 0A" /proc/net/tcp
}

# A drive that dies closes its connection, so that the keep-alive may be slow. A short one would only hit a host that is
# busy for a while.
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

commands() { cat $drives/$1/commands.log; }
clear_commands() { : >$drives/$1/commands.log; }
expect_image() { cmp $component/payload/image.bin $drives/$1/image >&2 || fail "drive $1 took other bytes"; }
