#!/usr/bin/env python3
"""Measures the component as ratios to the yardstick, on staged folders of given size.

  measure.py BUILD [--update] [--debug] [--runs N] [--case DRIVESxENTRIES ...]   one table
  measure.py BUILD --gate                  instructions of an inventory only; fails above the limit
  measure.py BUILD --growth FILE.tsv       instructions against drives and against entries

Instructions are callgrind's and repeat; wall time is the median of interleaved runs with its spread (median
absolute deviation), memory the peak resident set in KiB, pages the minor page faults, system calls strace's.
"""

import argparse
import math
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

CASES = [(1, 20), (8, 200), (36, 1000), (300, 50)]
GATE_CASES = [(1, 20), (8, 200), (300, 50)]
GATE_LIMIT = 1.10

DEVICE = """    <Device componentID="{number}">
      <PCIInfo deviceID="{device:04x}" subDeviceID="{sub:04x}" vendorID="f101" subVendorID="f1a0"/>
      <Display>Sample NVMe SSD model {index} 2.5in</Display>
    </Device>
"""


def descriptor(entries):
    devices = "".join(DEVICE.format(number=100000 + i, device=0xA000 + i % 0x1000, sub=0x1000 + i // 0x1000, index=i)
                      for i in range(entries))
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<SoftwareComponent vendorVersion="1.0">\n'
            '  <ComponentType value="FRMW"/>\n  <SupportedDevices>\n' + devices +
            '  </SupportedDevices>\n</SoftwareComponent>\n')


class Folder:
    """A component folder in which both programs run."""

    def __init__(self, build, drives, entries):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="nvmepcissd-bench-"))
        for name in ("nvmepcissd", "yardstick", "librbkl.so.0", "bench/libnvme.so", "simulator/libkvrpm.so"):
            shutil.copy(build / name, self.path)
        (self.path / "package.xml").write_text(descriptor(entries))
        (self.path / "payload").mkdir()
        (self.path / "payload/firmware.bin").write_bytes(b"firmware" * 64)
        self.environment = {"PATH": os.environ["PATH"], "BENCH_DRIVES": str(drives)}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.path)

    def run(self, command):
        return subprocess.run(command, cwd=self.path, env=self.environment, check=True, capture_output=True, text=True)

    def instructions(self, command):
        output = self.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command]).stderr
        return int(re.search(r"Collected : (\d+)", output).group(1))

    def system_calls(self, command):
        output = self.run(["strace", "-f", "-c", "-o", "strace.out", *command])
        del output
        return int((self.path / "strace.out").read_text().splitlines()[-1].split()[2])

    def resources(self, command):
        """Wall seconds, peak KiB and minor faults of one run."""
        start = time.perf_counter()
        pid = os.posix_spawnp("env", ["env", "-C", str(self.path), *command], self.environment,
                              file_actions=[(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)])
        _, status, usage = os.wait4(pid, 0)
        if status != 0:
            sys.exit(f"{command} ended with {status}")
        return time.perf_counter() - start, usage.ru_maxrss, usage.ru_minflt


def commands(update, debug):
    mode = "-u" if update else "-i"
    component = ["./nvmepcissd", mode, "-o", "component.xml"] + (["-d"] if debug else [])
    return ["./yardstick", mode, "yardstick.xml"], component


def same_documents(folder, yardstick, component):
    folder.run(yardstick)
    folder.run(component)
    if (folder.path / "yardstick.xml").read_bytes() != (folder.path / "component.xml").read_bytes():
        sys.exit("yardstick and component disagree on the document")


def measure(folder, pair, runs):
    samples = [[], []]
    for _ in range(runs):
        for which in (0, 1):
            samples[which].append(folder.resources(pair[which]))
    result = []
    for which in (0, 1):
        wall, memory, pages = zip(*samples[which])
        median = statistics.median(wall)
        result.append({"instructions": folder.instructions(pair[which]), "wall ms": 1000 * median,
                       "spread ms": 1000 * statistics.median(abs(w - median) for w in wall),
                       "peak KiB": statistics.median(memory), "pages": statistics.median(pages),
                       "system calls": folder.system_calls(pair[which])})
    return result


def table(build, cases, update, debug, runs):
    print(f"{'update' if update else 'inventory'}, log {'on' if debug else 'off'}")
    print(f"{'drives x entries':>16}  {'':12}{'yardstick':>16}{'component':>16}{'ratio':>8}")
    for drives, entries in cases:
        with Folder(build, drives, entries) as folder:
            pair = commands(update, debug)
            same_documents(folder, *pair)
            yardstick, component = measure(folder, pair, runs)
            for key in yardstick:
                ratio = component[key] / yardstick[key] if yardstick[key] else math.nan
                print(f"{f'{drives} x {entries}':>16}  {key:12}{yardstick[key]:16,.1f}{component[key]:16,.1f}{ratio:8.3f}",
                      flush=True)


def gate(build):
    failed = False
    for drives, entries in GATE_CASES:
        with Folder(build, drives, entries) as folder:
            pair = commands(update=False, debug=False)
            same_documents(folder, *pair)
            yardstick, component = (folder.instructions(command) for command in pair)
            ratio = component / yardstick
            failed |= ratio > GATE_LIMIT
            print(f"{drives} x {entries}: {component:,} instructions, {ratio:.3f} times the yardstick "
                  f"(at most {GATE_LIMIT})", flush=True)
    if failed:
        sys.exit("FAILED: the component costs more than the limit")


def slope(points):
    """The slope of a straight line through the logarithms."""
    x, y = ([math.log(value) for value in column] for column in zip(*points))
    mean_x, mean_y = statistics.mean(x), statistics.mean(y)
    return sum((a - mean_x) * (b - mean_y) for a, b in zip(x, y)) / sum((a - mean_x) ** 2 for a in x)


def growth(build, path):
    component = commands(update=False, debug=False)[1]

    def instructions(drives, entries):
        with Folder(build, drives, entries) as folder:
            return folder.instructions(component)

    start = instructions(0, 1)
    with open(path, "w", encoding="ascii") as file:
        for name, series in (("drives", [(2 ** k, 50) for k in range(0, 9)]),
                             ("entries", [(4, 25 * 2 ** k) for k in range(0, 8)])):
            points = [(pair[name == "entries"], instructions(*pair)) for pair in series]
            print(f"{name}: log-log slope above the start-up of {start:,} instructions "
                  f"{slope([(size, cost - start) for size, cost in points]):.3f}")
            for size, cost in points:
                print(f"{size:8} {cost:16,}", flush=True)
                file.write(f"{size}\t{cost - start}\n")
            file.write("\n\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--debug", action="store_true")
    parser.add_argument("--runs", type=int, default=11)
    parser.add_argument("--case", action="append", type=lambda text: tuple(map(int, text.split("x"))))
    parser.add_argument("--gate", action="store_true")
    parser.add_argument("--growth", type=pathlib.Path)
    options = parser.parse_args()
    build = options.build.resolve()
    if options.gate:
        gate(build)
    elif options.growth:
        growth(build, options.growth)
    else:
        table(build, options.case or CASES, options.update, options.debug, options.runs)


main()
