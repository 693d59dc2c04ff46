#!/usr/bin/env python3
"""Reads the release build's executable and asserts that it was hardened. The build has recorded its switches in it."""

import argparse
import json
import os
import re
import subprocess
import sys
import unittest

PROGRAM = None


def tool(*words):
    return subprocess.run(words, capture_output=True, check=True, text=True, errors="replace").stdout


class Hardening(unittest.TestCase):
    def test_it_is_position_independent(self):
        self.assertRegex(tool("readelf", "-hW", PROGRAM), r"Type:\s+DYN")
        self.assertRegex(tool("readelf", "-dW", PROGRAM), r"\(FLAGS_1\).*\bPIE\b")

    def test_relocations_are_done_at_the_start_and_read_only_then(self):
        self.assertIn("GNU_RELRO", tool("readelf", "-lW", PROGRAM))
        dynamic = tool("readelf", "-dW", PROGRAM)
        self.assertRegex(dynamic, r"\(FLAGS\).*\bBIND_NOW\b")
        self.assertRegex(dynamic, r"\(FLAGS_1\).*\bNOW\b")

    def test_no_memory_is_both_writable_and_executable(self):
        segments = re.findall(r"^ +(\w+) +(?:0x\w+ +){5}([R ][W ][E ])", tool("readelf", "-lW", PROGRAM), re.MULTILINE)
        self.assertIn("LOAD", dict(segments))
        self.assertIn("GNU_STACK", dict(segments))
        for name, flags in segments:
            self.assertFalse("W" in flags and "E" in flags, f"{name} is {flags}")

    # Promise: folder-of-the-executable
    def test_it_looks_for_libraries_beside_itself_at_most(self):
        dynamic = tool("readelf", "-dW", PROGRAM)
        self.assertEqual(re.findall(r"\((RPATH|RUNPATH)\).*\[(.*)\]", dynamic), [("RUNPATH", "$ORIGIN")])
        self.assertNotIn("TEXTREL", dynamic)

    def test_it_guards_the_stack(self):
        self.assertIn("__stack_chk_fail", tool("nm", "-D", "--undefined-only", PROGRAM))

    def test_functions_that_can_be_called_through_a_pointer_are_marked(self):
        symbols = tool("nm", "-C", "--defined-only", PROGRAM)
        starts = re.findall(r"^(\w+) [Tt] (main|CLinuxImpl::\w+)(?:\(.*\))?$", symbols, re.MULTILINE)
        self.assertGreater(len(starts), 10)
        for address, name in starts:
            code = tool("objdump", "-d", "--no-show-raw-insn", f"--start-address=0x{address}",
                        f"--stop-address={int(address, 16) + 4}", PROGRAM)
            self.assertIn("endbr64", code, name)

    # Promise: reads-no-variable
    def test_it_reads_no_environment_variable(self):
        imported = tool("nm", "-D", "--undefined-only", PROGRAM)
        self.assertIn("dlopen", imported)
        self.assertNotRegex(imported, r"getenv|\benviron\b")

    def test_it_exports_nothing_of_its_own(self):
        exported = tool("nm", "-DC", "--defined-only", PROGRAM).splitlines()
        # Instances of the standard library's templates, which the platform's libraries share.
        own = [line for line in exported if not re.match(r"^\w+ [VWu] .*\bstd::", line)]
        self.assertEqual(own, [])

    def test_every_source_was_built_with_the_switches(self):
        dump = tool("readelf", "-p", ".GCC.command.line", PROGRAM)
        recorded = re.findall(r"^ +\[ *\w+\] +(.* -O3 .*)$", dump, re.MULTILINE)
        self.assertNotEqual(recorded, [], dump)
        for switch in ("-fstack-clash-protection", "-fstack-protector-strong", "-fcf-protection=full", "-fvisibility=hidden"):
            for command in recorded:
                self.assertIn(switch, command)

    def test_every_source_was_built_with_checked_library_calls(self):
        """These two are macros, which the file does not record; where nothing is left to check it has no trace of them."""
        with open(os.path.join(os.path.dirname(PROGRAM), "compile_commands.json"), encoding="utf-8") as file:
            commands = [entry["command"] for entry in json.load(file)
                        if not re.search(r" -o (simulator|bench)/", entry["command"])]
        self.assertGreater(len(commands), 15)
        for command in commands:
            self.assertIn("-D_FORTIFY_SOURCE=3", command)
            self.assertIn("-D_GLIBCXX_ASSERTIONS", command)
            self.assertIn("-O3", command)


def main():
    global PROGRAM
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", required=True)
    options, rest = parser.parse_known_args()
    PROGRAM = options.program
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
