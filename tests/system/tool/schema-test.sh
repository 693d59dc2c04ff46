#!/usr/bin/env bash
# The schemas accept every sample and every document that the component writes from well-formed values, and refuse
# what is amiss. Arguments: repository, build folder.
set -euo pipefail
root=$1 build=$2
schemas=$root/docs/schema
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() { echo "FAILED: $*" >&2; exit 1; }
validate() { xmllint --noout --schema "$schemas/$1.xsd" "$2" 2>"$scratch/complaints"; }
accepted() { validate "$1" "$2" || { cat "$scratch/complaints" >&2; fail "$2 is refused by $1.xsd"; }; }

# refused SCHEMA SED-SCRIPT WORDS: the example, edited, is refused for the right reason.
refused() {
  sed "$2" "$schemas/examples/$1.xml" >"$scratch/edited.xml"
  ! cmp -s "$scratch/edited.xml" "$schemas/examples/$1.xml" || fail "$2 changes nothing in $1.xml"
  ! validate "$1" "$scratch/edited.xml" || fail "$1.xsd accepts $2"
  grep -q "$3" "$scratch/complaints" || { cat "$scratch/complaints" >&2; fail "$2: no complaint about $3"; }
}

for name in package inventory update plugin-configuration; do accepted $name "$schemas/examples/$name.xml"; done
accepted package "$root/simulator/package.xml"
for page in "$root"/docs/package-xml.md:package "$root"/docs/plugin-configuration.md:plugin-configuration; do
  awk '/^```xml$/ {inside = 1; next} /^```$/ {if (inside) exit} inside' "${page%:*}" >"$scratch/sample.xml"
  accepted "${page##*:}" "$scratch/sample.xml"
done

# A Device may hold several models, each with a name after its ids; a second name for the same ids is never used.
sed 's/^ *<PCIInfo deviceID="a802" subDeviceID="1101"/<Display>Another model<\/Display>&/' "$schemas/examples/package.xml" \
  >"$scratch/models.xml"
[ "$(xmllint --xpath 'count(//SupportedDevices/Device[2]/Display)' "$scratch/models.xml")" -eq 2 ] || fail "no two models"
accepted package "$scratch/models.xml"
refused package 's/<Display>Sample NVMe SSD S1.*/&<Display>Second<\/Display>/' 'Display'

refused package 's/ subVendorID="f1a0"//' 'subVendorID'
refused package 's/deviceID="a801"/deviceID="0xa801"/' 'pattern'
refused package 's/400GB/A \&amp; B/' 'pattern'
refused package 's/<PCIInfo deviceID="a801".*/<Display>First<\/Display>&/' 'Expected is'
refused package 's/deviceID="a801"/deviceId="a801"/' 'deviceId'
refused inventory 's/deviceID="a54"/deviceID="0a54"/' 'pattern'
refused inventory 's/result="false"/result="true"/' 'fixed'
refused update 's/<RebootRequired>1/<RebootRequired>0/' 'fixed'
refused update 's/ id="0"//' 'id'
refused plugin-configuration 's/<Output>.*<\/Output>//' 'Output'

component=$scratch/component
mkdir "$component"
cp "$build/nvmepcissd" "$build/librbkl.so.0" "$component"
cp -r "$build"/simulator/{libnvme.so,package.xml,fwkitinstall.sh,payload} "$component"
cd "$component"
documents=0
for scenario in "$build"/simulator/scenarios/*.json; do
  cp "$scenario" scenario.json
  rm -f nvme-state.json
  ./nvmepcissd -i -o "$scratch/inventory.xml"
  ./nvmepcissd -u -o "$scratch/update.xml" || [ $? -eq 1 ]
  for kind in inventory update; do
    if [ "${scenario##*/}" = odd-texts.json ]; then
      # Its serial numbers hold reserved characters, which are not escaped.
      ! validate $kind "$scratch/$kind.xml" || fail "$kind.xml of ${scenario##*/} should not be well-formed"
      grep -q 'parser error' "$scratch/complaints" || fail "$kind.xml of ${scenario##*/} is refused for another reason"
    else
      accepted $kind "$scratch/$kind.xml"
      documents=$((documents + 1))
    fi
  done
done
[ $documents -ge 18 ] || fail "only $documents documents were validated"
echo "$documents documents of the component validated"
