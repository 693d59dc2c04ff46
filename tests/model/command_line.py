"""The command line as the model understands it."""

import dataclasses

USAGE = (
    "\nUsage: -h\n\tProvides detailed help information\n"
    "\nUsage: -i [-o <output filename>] [-debug]\n"
    "\tProvides inventory information of all identified devices.\n"
    "\t-o Specifies the output filename.\n"
    "\t-d Specifies to create a debug log file.\n"
    "\nUsage: -u [-s <image folder>] [-f] [-o <output filename>] [-debug [filename]]\n"
    + "=" * 75 + "\n")


@dataclasses.dataclass
class Options:
    goes_on: bool = True
    usage: bool = False
    debug: bool = False
    debug_name: str = "debug.log"
    output: str = ""
    inventory: bool = False
    update: bool = False


def parse(words):
    options = Options()
    if not words:
        return dataclasses.replace(options, goes_on=False, usage=True)
    rest = list(words)
    while rest:
        word = rest.pop(0)
        if word == "-h":
            options.usage = True
            break
        if word == "-u":
            options.update = True
        elif word == "-i":
            options.inventory = True
        elif word == "-o" and rest:
            options.output = rest.pop(0)
        elif word == "-d":
            options.debug = True
            if rest and not rest[0].startswith("-"):
                options.debug_name = rest.pop(0)
        elif word != "-f":
            options.goes_on, options.usage = False, True
            break
    return options
