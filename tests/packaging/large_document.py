"""Writes an inventory of as many drives as its argument says to standard output."""
import sys

DRIVE = ('<Device  vendorID="f101" deviceID="a80{model}" subVendorID="f1a0" subDeviceID="1001"  '
         'display="Sample NVMe SSD S{model} 2.5in" enum = "Serial Number: SIM{number:013}" >'
         '<Application componentType="FRMW"  version="SMP1010{revision}"  display=""/></Device>')

sys.stdout.write('<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">')
for number in range(int(sys.argv[1])):
    sys.stdout.write(DRIVE.format(model=number % 4 + 1, number=number, revision=number % 5))
sys.stdout.write("</SVMInventory>")
