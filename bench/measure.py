#!/usr/bin/env python3
"""Measures the component as ratios to the yardstick, on staged folders of given size.

  measure.py BUILD [--update] [--debug] [--runs N] [--case DRIVESxENTRIES ...]   one table
  measure.py BUILD --gate                  instructions and peak memory of every case; fails above the limit
  measure.py BUILD --growth FILE.tsv       instructions against drives and against entries
  measure.py BUILD --large DRIVESxENTRIES  time and memory of one inventory; fails above 1 GiB

Instructions are callgrind's and repeat within 0.5 %; wall time is the median of interleaved runs with its spread
(median absolute deviation), memory the peak resident set, pages the minor page faults, system calls strace's. A
difference of system calls is given without those that the behaviour forces (DRIVE_CALLS, UPDATE_CALLS).
"""

import argparse
import concurrent.futures
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
LIMIT = 1.10  # times the yardstick, for instructions and for peak memory
LARGE_LIMIT_KIB = 1 << 20

# System calls that the component's behaviour forces and the yardstick leaves out.
# For every drive it asks three times whether a file is there (the log's marker once, the descriptor before each time
# that it is read) and takes the working directory's path for that and for the descriptor's own path: 4 getcwd, 3 openat,
# 2 close.
DRIVE_CALLS = 9
# An update loads the hardware-access library a second time as a probe (10), lists the payload folder beside the
# executable (readlink, openat, newfstatat, 2 getdents64, close) and goes to that folder (readlink, chdir).
UPDATE_CALLS = 18

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
        self.stage("nvmepcissd-bench-", {"PATH": os.environ["PATH"], "BENCH_DRIVES": str(drives)})
        for name in ("nvmepcissd", "yardstick", "librbkl.so.0", "bench/libnvme.so", "simulator/libkvrpm.so"):
            shutil.copy(build / name, self.path)
        (self.path / "package.xml").write_text(descriptor(entries))
        (self.path / "payload").mkdir()
        (self.path / "payload/firmware.bin").write_bytes(b"firmware" * 64)

    def stage(self, prefix, environment):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix=prefix))
        self.environment = environment

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.path)

    def run(self, command, status=0):
        try:
            done = subprocess.run(command, cwd=self.path, env=self.environment, capture_output=True, text=True, check=False)
        except FileNotFoundError:
            sys.exit(f"{command[0]} is missing")
        if done.returncode != status:
            sys.exit(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return done

    def instructions(self, command, status=0):
        output = self.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command], status).stderr
        collected = re.search(r"Collected : (\d+)", output)
        if collected is None:
            sys.exit(f"callgrind counted nothing:\n{output}")
        return int(collected.group(1))

    def system_calls(self, command):
        self.run(["strace", "-f", "-c", "-U", "calls,name", "-o", "strace.out", *command])
        return int(re.search(r"(\d+) total", (self.path / "strace.out").read_text()).group(1))

    def memory(self, command):
        """Peak KiB and minor faults of one run. Started by `time`, as a process inherits the peak of the one that it
        was started from, and an interpreter's is the larger one."""
        self.run(["time", "--format", "%M %R", "--output", "time.out", *command])
        return tuple(int(word) for word in (self.path / "time.out").read_text().split())

    def wall(self, command):
        start = time.perf_counter()
        self.run(command)
        return time.perf_counter() - start


def commands(update, debug):
    mode = "-u" if update else "-i"
    component = ["./nvmepcissd", mode, "-o", "component.xml"] + (["-d"] if debug else [])
    return ["./yardstick", mode, "yardstick.xml"], component


def check_documents(folder, pair):
    for command in pair:
        folder.run(command)
    if (folder.path / "yardstick.xml").read_bytes() != (folder.path / "component.xml").read_bytes():
        sys.exit("yardstick and component disagree on the document")


def instructions_of_both(folder, pair):
    with concurrent.futures.ThreadPoolExecutor(len(pair)) as pool:
        return list(pool.map(folder.instructions, pair))


def peaks_of_both(folder, pair):
    """The medians of seven runs: address space randomisation moves a peak by some pages."""
    return [statistics.median(folder.memory(command)[0] for _ in range(7)) for command in pair]


def measure(folder, pair, runs):
    wall = [[folder.wall(command) for command in pair] for _ in range(runs)]
    memory = [[folder.memory(command) for command in pair] for _ in range(7)]
    result = []
    for which, instructions in enumerate(instructions_of_both(folder, pair)):
        times = [1000 * row[which] for row in wall]
        median = statistics.median(times)
        result.append({"instructions": instructions,
                       "wall ms": median,
                       "spread ms": statistics.median(abs(value - median) for value in times),
                       "peak KiB": statistics.median(row[which][0] for row in memory),
                       "pages": statistics.median(row[which][1] for row in memory),
                       "system calls": folder.system_calls(pair[which])})
    return result


def log_lines(folder):
    log = folder.path / "debug.log"
    return log.read_bytes().count(b"\n") if log.exists() else 0


def table(build, cases, update, debug, runs):
    print(f"{'update' if update else 'inventory'}, log {'on' if debug else 'off'}")
    print(f"{'drives x entries':>16}  {'':12}{'yardstick':>16}{'component':>16}{'ratio':>8}")
    for drives, entries in cases:
        with Folder(build, drives, entries) as folder:
            pair = commands(update, debug)
            check_documents(folder, pair)
            yardstick, component = measure(folder, pair, runs)
            name = f"{drives} x {entries}"
            for key in yardstick:
                ratio = component[key] / yardstick[key] if yardstick[key] else math.nan
                print(f"{name:>16}  {key:12}{yardstick[key]:16,.1f}{component[key]:16,.1f}{ratio:8.3f}", flush=True)
            forced = DRIVE_CALLS * drives + (UPDATE_CALLS if update else 0)
            extra = component["system calls"] - yardstick["system calls"] - forced
            if lines := log_lines(folder):
                print(f"{name:>16}  {lines:,} log lines, {extra / lines:.2f} system calls each")
            else:
                print(f"{name:>16}  {extra} more system calls, besides {forced} that are forced", flush=True)


def gate(build, cases):
    failed = False
    for update in (False, True):
        for drives, entries in cases:
            with Folder(build, drives, entries) as folder:
                pair = commands(update, debug=False)
                check_documents(folder, pair)
                ratios = []
                for name, (yardstick, component) in (("instructions", instructions_of_both(folder, pair)),
                                                     ("peak KiB", peaks_of_both(folder, pair))):
                    ratio = component / yardstick
                    failed |= ratio > LIMIT
                    ratios.append(f"{component:,} {name}, {ratio:.3f}")
            print(f"{'update' if update else 'inventory'} {drives} x {entries}: {'; '.join(ratios)} times the yardstick "
                  f"(at most {LIMIT:.2f})", flush=True)
    if failed:
        sys.exit("FAILED: the component costs more than the limit")


def slope(points):
    """The slope of a straight line through the logarithms."""
    x, y = ([math.log(value) for value in column] for column in zip(*points))
    mean_x, mean_y = statistics.mean(x), statistics.mean(y)
    return sum((a - mean_x) * (b - mean_y) for a, b in zip(x, y)) / sum((a - mean_x) ** 2 for a in x)


def growth(build, path):
    component = commands(update=False, debug=False)[1]

    def instructions(size):
        with Folder(build, *size) as folder:
            return folder.instructions(component)

    start = instructions((0, 1))
    print(f"start-up: {start:,} instructions")
    with open(path, "w", encoding="ascii") as file, concurrent.futures.ThreadPoolExecutor(2) as pool:
        for name, series in (("drives", [(2 ** k, 50) for k in range(0, 9)]),
                             ("entries", [(4, 25 * 2 ** k) for k in range(0, 8)])):
            points = [(size[name == "entries"], cost - start) for size, cost in zip(series, pool.map(instructions, series))]
            print(f"{name}: log-log slope {slope(points):.3f}")
            for size, cost in points:
                print(f"{size:8}{cost:16,}{cost // size:14,} each", flush=True)
                file.write(f"{size}\t{cost}\n")
            file.write("\n\n")


def large(build, drives, entries):
    command = commands(update=False, debug=False)[1]
    with Folder(build, drives, entries) as folder:
        start = time.perf_counter()
        peak, _ = folder.memory(command)
        seconds = time.perf_counter() - start
        devices = (folder.path / "component.xml").read_text().count("<Device ")
    print(f"{drives} x {entries}: {devices} devices, {seconds:.0f} s, peak {peak / 1024:.0f} MiB")
    if devices != drives or peak > LARGE_LIMIT_KIB:
        sys.exit("FAILED: drives are missing or the peak is above 1 GiB")


def size(text):
    drives, entries = text.split("x")
    return int(drives), int(entries)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--debug", action="store_true")
    parser.add_argument("--runs", type=int, default=11)
    parser.add_argument("--case", action="append", type=size)
    parser.add_argument("--gate", action="store_true")
    parser.add_argument("--growth", type=pathlib.Path)
    parser.add_argument("--large", type=size)
    options = parser.parse_args()
    build = options.build.resolve()
    if options.gate:
        gate(build, options.case or CASES)
    elif options.growth:
        growth(build, options.growth)
    elif options.large:
        large(build, *options.large)
    else:
        table(build, options.case or CASES, options.update, options.debug, options.runs)


if __name__ == "__main__":
    main()
