#!/usr/bin/env python3
"""What the executable does when what it relies on fails. docs/faults.md states each of these in a line."""

import argparse
import sys
import unittest

from component import FaultTest
from file_faults import Descriptors, Folders, FullDisk, Killed, Limits
from library_faults import Allocations, DriveLibrary, Loading

# unittest finds them here.
__all__ = ["Allocations", "Descriptors", "DriveLibrary", "Folders", "FullDisk", "Killed", "Limits", "Loading"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", required=True, help="folder with nvmepcissd and librbkl.so.0")
    parser.add_argument("--stage", required=True, help="folder with the simulator's libraries and script")
    parser.add_argument("--faults", required=True, help="folder with the libraries built here")
    FaultTest.parts, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
