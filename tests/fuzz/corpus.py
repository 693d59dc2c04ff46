#!/usr/bin/env python3
"""The inputs of the fuzz targets: packs them, unpacks them and runs a target on each of them.

A target's inputs are the files of seeds/TARGET/, which somebody has written and named, and the members of
corpus/TARGET.tar, most of which the fuzzer has found and named after their hash.

  tests/fuzz/corpus.py pack TARGET FOLDER              replaces the archive by the files of FOLDER
  tests/fuzz/corpus.py unpack TARGET FOLDER            writes seeds and archive into FOLDER
  tests/fuzz/corpus.py replay TARGET COUNT EXECUTABLE  runs them all, and fails unless there are COUNT of them
"""

import io
import os
import pathlib
import subprocess
import sys
import tarfile
import tempfile

HERE = pathlib.Path(__file__).resolve().parent


def seeds(target):
    folder = HERE / "seeds" / target
    return {file.name: file.read_bytes() for file in folder.iterdir()} if folder.is_dir() else {}


def archived(target):
    with tarfile.open(HERE / "corpus" / f"{target}.tar") as archive:
        return {member.name: archive.extractfile(member).read() for member in archive.getmembers()}


def inputs(target):
    """Content by name. A seed that has the name of an archived input would hide it."""
    named, found = seeds(target), archived(target)
    twice = named.keys() & found.keys()
    if twice:
        sys.exit(f"{target}: both a seed and in the archive: {', '.join(sorted(twice))}")
    return {**named, **found}


def pack(target, folder):
    """The same files give the same archive, byte by byte: sorted, without times and owners. Seeds are left out."""
    written = set(seeds(target).values())
    files = {file.name: file.read_bytes() for file in pathlib.Path(folder).iterdir()}
    members = sorted((name, content) for name, content in files.items() if content not in written)
    with tarfile.open(HERE / "corpus" / f"{target}.tar", "w", format=tarfile.USTAR_FORMAT) as archive:
        for name, content in members:
            member = tarfile.TarInfo(name)
            member.size = len(content)
            archive.addfile(member, io.BytesIO(content))
    print(f"{target}: {len(inputs(target))} inputs, which is the number to state in tests/fuzz/CMakeLists.txt")


def unpack(target, folder):
    os.makedirs(folder, exist_ok=True)
    for name, content in inputs(target).items():
        (pathlib.Path(folder) / name).write_bytes(content)


def replay(target, count, executable):
    with tempfile.TemporaryDirectory() as folder:
        unpack(target, folder)
        files = sorted(str(file) for file in pathlib.Path(folder).iterdir())
        if len(files) != int(count):
            sys.exit(f"{target}: {len(files)} inputs where {count} are expected; see tests/fuzz/CMakeLists.txt")
        sys.exit(subprocess.run([executable, *files], check=False).returncode != 0)


def main(arguments):
    commands = {("pack", 3): pack, ("unpack", 3): unpack, ("replay", 4): replay}
    command = commands.get((arguments[0] if arguments else "", len(arguments)))
    if command is None:
        sys.exit(__doc__)
    command(*arguments[1:])


if __name__ == "__main__":
    main(sys.argv[1:])
