"""The package descriptor as the model understands it."""


def lower(text):
    return "".join(chr(ord(c) + 32) if "A" <= c <= "Z" else c for c in text)


class Descriptor:
    """The names that a tree of (name, attributes, children) gives to PCI identities. Children are such trees or
    texts; None stands for a file that is missing or not well-formed."""

    ATTRIBUTES = ("deviceID", "subDeviceID", "vendorID", "subVendorID")

    def __init__(self, tree):
        self.devices = []
        if tree is not None:
            self.collect(tree, ())

    def collect(self, node, above):
        name, _, children = node
        if (name, *above[:2]) == ("Device", "SupportedDevices", "SoftwareComponent"):
            self.devices.append(node)
        for child in children:
            if not isinstance(child, str):
                self.collect(child, (name, *above))

    def supported(self, say):
        if not self.devices:
            say("CSoftwareComponentInfo::GetNodeSet() Empty nodeset")
        else:
            say("CSoftwareComponentInfo::GetNodeSet() Exiting")
        return self.entries(say)

    def entries(self, say):
        where = "CSoftwareComponentInfo::GetSupportedDevices() "
        say(where + ("Found Some Device Nodes" if self.devices else "Error during calculating xpath expression"))
        entries, carried = [], dict.fromkeys((*self.ATTRIBUTES, "display"), "")
        for _, _, children in self.devices:
            say(where + "Finding the Component ID and PCI Info")
            for index, child in enumerate(children):
                if isinstance(child, str) or lower(child[0]) != "pciinfo":
                    continue
                say(where + "Found a PCI Device")
                for name in self.ATTRIBUTES:
                    if name in child[1]:
                        carried[name] = child[1][name].rjust(4, "0")
                for sibling in children[index + 1:]:
                    if isinstance(sibling, str) or lower(sibling[0]) != "display":
                        continue
                    say(where + "Found a Display element under Device element")
                    if sibling[2] and isinstance(sibling[2][0], str):
                        carried["display"] = sibling[2][0]
                        say(where + "Got the marketing name/Display name for a PCI Device as " + carried["display"])
                        break
                entries.append(dict(carried))
        say(where + "Exiting")
        return entries

    def marketing_name(self, record, say):
        where = "CSoftwareComponentInfo::getMarketingNameForPCIDevice() "
        wanted = (record.device, record.sub_device, record.vendor, record.sub_vendor)
        name = ""
        for entry in self.supported(say):
            say(where + "Finding a match with PCI Device")
            if all(lower(want) == lower(entry[key]) for want, key in zip(wanted, self.ATTRIBUTES)):
                name = entry["display"]
                say(where + "Found a match with PCI Devices from package.xml")
        say(where + "Exiting")
        return name
