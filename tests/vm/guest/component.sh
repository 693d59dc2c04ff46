# shellcheck shell=sh disable=SC2046,SC2086,SC2115,SC2154,SC2034,SC1090  # no name or path in here has a blank
# The component and its drive library: what they are given, how they are run and what they say.

# package VENDOR DEVICE SUBVENDOR SUBDEVICE: the one model that the package is for
package() {
  cat >$component/package.xml <<END
<SoftwareComponent><SupportedDevices><Device componentID="1">
<PCIInfo deviceID="$2" subDeviceID="$4" vendorID="$1" subVendorID="$3"/><Display>Drive of the test</Display>
</Device></SupportedDevices></SoftwareComponent>
END
}

# payload SIZE [REVISION]: an image that begins with its revision, eight letters, and repeats nowhere near
payload() {
  rm -f $component/payload/*
  { printf %-8s ${2:-NEW_REV} && head -c $(($1 - 8)) /dev/urandom; } >$component/payload/image.bin
}

# update [LABEL]: runs the component; the document is in /tmp/LABEL.xml, the debug log in /tmp/LABEL.log
update() {
  label=${1:-update}
  (cd $component && ./nvmepcissd -u -o /tmp/$label.xml -d /tmp/$label.log) || fail "update $label: exit status $?"
}

# What the update's document says of each drive, in order: its serial number and what became of it. A drive that
# failed stands there without a name.
outcomes() {
  sed -e 's/<Device /\n&/g' -e 's/<SPStatus result = "false"/\n&/g' /tmp/${1:-update}.xml |
    sed -n -e '/result = "true"/s/.*Serial Number: \([^"]*\)".*/\1 Success/p' \
      -e 's/^<SPStatus result = "false" ><Message id="0" >\([^<]*\)<.*/\1/p'
}

# The library's results of the drives that failed, as numbers of 32 bits without sign
results() { sed -n 's/.*API return value = //p' /tmp/${1:-update}.log; }

# Serial number and running revision of every drive
revisions() { (cd $component && vm_probe list) | cut -d ' ' -f 4-; }

rolled_back() { ls /tmp/rollback 2>/dev/null; }
not_logged() { ! grep -F "NVMe drive" /tmp/syslog | grep -F "$1" || fail "in the system log: $1"; }
logged() { grep -qF "$1" /tmp/syslog || fail "not in the system log: $1"; }

# The revision that sysfs has of a controller, without its padding
revision_in_sysfs() { sed 's/ *$//' /sys-live/class/nvme/$1/firmware_rev; }
