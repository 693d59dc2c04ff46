#!/usr/bin/env bash
# The first process of a server of the rack, in namespaces of its own: lays a file system over that of the machine, makes
# it the root, and serves SSH. Ends with 64 for a reboot; the server's processes end with it.
#
#   server-init.sh FOLDER STAGE NAME ADDRESS BOOT_ID [systemd]
set -euo pipefail
folder=$1 stage=$2 name=$3 address=$4 boot=$5 kind=${6:-plain}

mount --make-rprivate /
mkdir -p "$folder"/{upper,work,root}
mount -t overlay overlay -o "lowerdir=$stage:/,upperdir=$folder/upper,workdir=$folder/work" "$folder/root"
hostname "$name"
until ip link show eth0 >/dev/null 2>&1; do sleep 0.02; done
ip link set lo up
ip address add "$address/16" dev eth0
ip link set eth0 up

if [ "$kind" = systemd ]; then
  # It gives every boot an id of its own.
  mount -t proc proc /proc
  exec systemd-nspawn --quiet --link-journal=no --register=no --keep-unit --directory="$folder/root" --machine="$name" --console=pipe \
    --boot systemd.unit=rack.target
fi

cd "$folder/root"
mount -t proc proc proc
mount --rbind /dev dev
mount -t devpts -o newinstance,ptmxmode=0666 devpts dev/pts
mount --rbind /sys sys
mount -t tmpfs none run
mount -t tmpfs none tmp
mkdir run/sshd
printf '%s\n' "$boot" >run/boot_id
mount --bind run/boot_id proc/sys/kernel/random/boot_id
mkfifo run/power
pivot_root . mnt
umount -l /mnt
cd /
if [ -x /opt/at-boot ]; then /opt/at-boot; fi
/usr/sbin/sshd -f /etc/rack/sshd_config
read -r _ <>/run/power
exit 64
