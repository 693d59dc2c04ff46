"""Scenarios from a seed: what the server looks like and which runs are made on it, one after another."""

import random

OPTION_WORDS = ("-i", "-u", "-f", "-h", "-d", "-o", "-debug", "-s", "--", "", "-", "-I", "word", "-i ")
IDS = (0x144D, 0xF101, 0xA54, 0x0, 0xFFFF, 0xA801, 0x1001, 0xF, 0xABCD)
CODES = (1, -1, 2, 55, 266, 268, 1001, 255, 256, -2147483648, 2147483647)
FIELD_CHARACTERS = (" ", "\t", "\0", "\n", "\r", "\v", "\f", "A", "z", "0", "9", "<", "&", '"', "\x7f", "\xa0", "\xff",
                    "\x85", "\x1b")
NAMES = ("Sample SSD", "A & B", "<tag>", "  padded  ", " ", 'Quote " here', "Gr\u00f6\u00dfe \u2014 1.6TB", "]]>", "x" * 300,
         "line\nbreak")


def generate(seed):
    chance = random.Random(seed)
    program_folder = pick(chance, {"component": 8, "with blank": 1})
    working_folder = pick(chance, {program_folder: 5, "elsewhere": 4, "with blank/work": 1})
    return {
        "seed": seed,
        "program_folder": program_folder,
        "working_folder": working_folder,
        "runs": [words(chance) for _ in range(pick(chance, {1: 5, 2: 2, 3: 1}))],
        "descriptor": descriptor(chance),
        "marker": pick(chance, {False: 6, True: 1}),
        "folders_in_the_way": [name for name in ("baseutils.log", "out.xml", "debug.log") if chance.random() < 0.03],
        "payload": payload(chance),
        "script": script(chance),
        "library_here": pick(chance, {"whole": 20, None: 2, "garbage": 1, "partial": 1}),
        "libraries_on_path": libraries(chance, program_folder == working_folder),
        "drives": drives(chance),
        "rollback": rollback(chance),
        "partition_blocked": pick(chance, {False: 12, True: 1}),
    }


def pick(chance, weights):
    return chance.choices(list(weights), list(weights.values()))[0]


# Command lines

def words(chance):
    if chance.random() < 0.12:
        return [chance.choice(OPTION_WORDS) for _ in range(chance.randrange(5))]
    result = pick(chance, {("-i",): 5, ("-u",): 7, ("-i", "-u"): 2, (): 1})
    groups = [[word] for word in result]
    if chance.random() < 0.75:
        groups.append(["-d", *pick(chance, {("log.txt",): 3, (): 2, ("missing/log.txt",): 1, ("",): 0.3})])
    if chance.random() < 0.7:
        groups.append(["-o", pick(chance, {"out.xml": 5, "missing/out.xml": 1, "": 0.5, "-u": 0.3, "../up.xml": 1})])
    if chance.random() < 0.1:
        groups.append(["-f"])
    if chance.random() < 0.03:
        groups.append(["-h"])
    chance.shuffle(groups)
    return [word for group in groups for word in group]


# The package descriptor

def descriptor(chance):
    kind = pick(chance, {"tree": 10, "absent": 1, "malformed": 1})
    if kind == "absent":
        return {"text": None, "tree": None}
    if kind == "malformed":
        return {"text": chance.choice(["", "<a>", "<SoftwareComponent></softwarecomponent>", "plain", "<a/><b/>"]),
                "tree": None}
    tree = element(chance)
    writer = DescriptorWriter(chance)
    return {"text": writer.document(tree), "tree": writer.read_back(tree)}


def element(chance):
    """A tree of (name, attributes, children): mostly the shape that is looked for, with strays in every place."""
    devices = [device(chance) for _ in range(chance.randrange(5))]
    supported = (pick(chance, {"SupportedDevices": 15, "supportedDevices": 1}), {}, devices)
    inner = [stray(chance), ("ComponentType", {"value": "FRMW"}, []), supported, stray(chance)]
    if chance.random() < 0.1:
        inner.append(("SupportedDevices", {}, [device(chance)]))
    tree = ("SoftwareComponent", {"vendorVersion": "1"}, inner)
    if chance.random() < 0.15:
        tree = (chance.choice(["SoftwareComponent", "Bundle"]), {}, [("SupportedDevices", {}, [device(chance)]), tree])
    return tree


def stray(chance):
    return chance.choice([("Other", {}, []), ("Device", {"componentID": "9"}, [pci_info(chance), display(chance)]), "text"])


def device(chance):
    makers = {pci_info: 4, display: 4, stray: 1, dependency: 1}
    children = [pick(chance, makers)(chance) for _ in range(chance.randrange(6))]
    attributes = {"componentID": str(chance.randrange(100))} if chance.random() < 0.9 else {}
    return (pick(chance, {"Device": 20, "device": 1}), attributes, children)


def dependency(chance):
    return (chance.choice(["Dependency", "SoftDependency"]), {"componentID": "7"}, [display(chance), pci_info(chance)])


def pci_info(chance):
    attributes = {name: identity(chance) for name in ("deviceID", "subDeviceID", "vendorID", "subVendorID")
                  if chance.random() < 0.92}
    return (pick(chance, {"PCIInfo": 8, "pciinfo": 1, "PciInfo": 1, "PCI": 0.5}), attributes, [])


def identity(chance):
    number = chance.choice(IDS[:4])
    return chance.choice([f"{number:x}", f"{number:04x}", f"{number:04X}", f"{number:x}", f"{number:05x}", "",
                          f"{number:04x}", "F1g\u00e9"])


def display(chance):
    content = pick(chance, {("text",): 10, (): 1, ("element", "text"): 1, ("text", "element"): 1})
    # Blank text beside an element is not content; alone it is.
    names = NAMES if len(content) == 1 else NAMES[:4]
    children = [("b", {}, ["inner"]) if kind == "element" else chance.choice(names) for kind in content]
    return (pick(chance, {"Display": 8, "display": 1, "DISPLAY": 1}), {}, children)


class DescriptorWriter:
    """Writes a tree in one of the ways that mean the same, and tells how its texts read back, byte for byte."""

    def __init__(self, chance):
        self.encoding = pick(chance, {"UTF-8": 5, "UTF-16": 1})
        self.indented = chance.random() < 0.5
        self.chance = chance

    def document(self, tree):
        declaration = f'<?xml version="1.0" encoding="{self.encoding}"?>' if self.encoding != "UTF-8" else ""
        return (declaration + "\n" * self.indented + self.write(tree, 0)).encode(self.encoding).decode("latin-1")

    def write(self, node, depth):
        if isinstance(node, str):
            return self.text(node)
        name, attributes, children = node
        start = name + "".join(f" {key}={self.quoted(value)}" for key, value in attributes.items())
        if not children:
            return f"<{start}/>" if self.chance.random() < 0.5 else f"<{start}></{name}>"
        mixed = any(isinstance(child, str) for child in children)
        gap = "" if mixed or not self.indented else "\n" + "  " * (depth + 1)
        inner = "".join(gap + self.write(child, depth + 1) for child in children)
        return f"<{start}>{inner}{gap[:-2]}</{name}>"

    def text(self, text):
        if "]]>" not in text and self.chance.random() < 0.1:
            return f"<![CDATA[{text}]]>"
        return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")

    def quoted(self, value):
        return self.chance.choice(['"{}"', "'{}'"]).format(value)

    def read_back(self, node):
        if isinstance(node, str):
            return node.encode("utf-8").decode("latin-1")
        name, attributes, children = node
        return (name, {key: self.read_back(value) for key, value in attributes.items()},
                [self.read_back(child) for child in children])


# Payload, install script and libraries

def payload(chance):
    one = {chance.choice(["fw.bin", ".hidden", "with blank.bin", "<&>"]): "firmware"}
    return chance.choice([one] * 8 + [None, {}, {"a": "1", "b": "2"}, {"folder": None}, {"folder": None, **one}, {"e": ""}])


def script(chance):
    return {
        "kind": pick(chance, {"there": 16, "absent": 1, "not executable": 1}),
        "also_beside_program": chance.random() < 0.5,
        "install": pick(chance, {0: 14, 1: 1, 255: 1}),
        "uninstall": pick(chance, {0: 8, 3: 1}),
        "copies": chance.random() < 0.3,
        "source": pick(chance, {"support": 5, None: 1}),
    }


def libraries(chance, one_folder):
    result = {}
    if chance.random() < 0.15:
        result[chance.choice(["libkvrpm.so", "libkvrpm64.so"])] = pick(chance, {"whole": 4, "garbage": 1})
    if chance.random() < 0.3 and not one_folder:
        result["libnvme.so"] = pick(chance, {"whole": 4, "garbage": 1, "partial": 1})
    return result


# Drives and rollback

def drives(chance):
    if chance.random() < 0.03:
        return None
    count = pick(chance, {0: 1, 1: 5, 2: 4, 3: 3, 5: 1, 40: 0.3})
    addresses = set()
    while len(addresses) < count:
        addresses.add((chance.randrange(256), chance.randrange(256), chance.randrange(256)))
    good = chance.random() < 0.4
    return {
        "result": 0 if chance.random() < 0.93 else chance.choice(CODES),
        "list": pick(chance, {"whole": 20, "null": 1, "untouched": 1, "uncounted": 1}),
        "drives": [drive(chance, address, good) for address in chance.sample(sorted(addresses), count)],
    }


def drive(chance, address, good):
    return {
        "ids": tuple(chance.choice(IDS[:4]) for _ in range(4)) if chance.random() < 0.8 else
               tuple(chance.choice(IDS) for _ in range(4)),
        "address": address,
        "model": field(chance, 40, "SAMPLE S1"),
        "serial": field(chance, 20, "SIM1"),
        "revision": field(chance, 8, "SMP10100"),
        "revision_result": 0 if good or chance.random() < 0.85 else chance.choice(CODES),
        "update_result": pick(chance, {0: 3, 267: 1}) if good or chance.random() < 0.6 else chance.choice(CODES),
        "new_revision": pick(chance, {True: 2, False: 1}) and field(chance, 8, "NEW") or None,
        "null": not good and chance.random() < 0.08,
    }


def field(chance, width, plain):
    kind = pick(chance, {"plain": 3, "padded": 2, "blank": 0.5, "nul": 0.5, "random": 3})
    if kind == "random":
        return "".join(chance.choice(FIELD_CHARACTERS) for _ in range(width))
    text = {"plain": plain, "padded": "  " + plain, "blank": "", "nul": "\0" * width}[kind]
    return text.ljust(width)[:width]


def rollback(chance):
    if chance.random() < 0.04:
        return None
    if chance.random() < 0.4:
        return {}
    result = {}
    for operation, has_result in (("constructor", False), ("addPayloadFiles", True), ("updateFirmwarePartition", True),
                                  ("destructor", False)):
        if chance.random() < 0.35:
            kind = chance.choice(["throwByte", "throwException", "return"] if has_result else ["throwByte", "throwException"])
            value = {"throwByte": chance.choice([0, 1, 10, 65, 63, 64, 255]), "throwException": "busy",
                     "return": chance.choice([0, 1, 7, 60, 69, 70, 71, 200, -1, -2147483648])}[kind]
            result[operation] = (kind, value)
    return result
