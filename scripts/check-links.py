#!/usr/bin/env python3
"""Checks that every relative link in the Markdown pages of a folder leads to something in that folder.

usage: scripts/check-links.py FOLDER

A link may name a page, a heading of a page, an image, or any other file or folder. In the sources, the files and folders
that the text names, as in `tests/system/`, must exist as well. Folders named "build" or ".git" are left out. Prints one
line for each broken link or name; exit status 1 if there is one, or if there is no link at all.
"""
import pathlib
import re
import sys
import urllib.parse

LINK = re.compile(r"""\]\(\s*<?([^)>\s]+)|(?:src|srcset|href)=["']([^"'\s]+)""")
NAMED = re.compile(r"`((?:bench|cm_\w+|cmake|docs|nvme_linux|packaging|scripts|simulator|src|tests|tool)/[\w./-]*)`")
HEADING = re.compile(r"^#{1,6}\s+(.*?)\s*#*$")
LEFT_OUT = {"build", ".git"}


def prose(page):
    """The lines of a page outside its code blocks, code spans emptied."""
    inside = False
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        if line.lstrip().startswith("```"):
            inside = not inside
        elif not inside:
            yield number, line


def anchors(page):
    """The anchors that a renderer gives the headings of a page."""
    found = set()
    for _, line in prose(page):
        if match := HEADING.match(line):
            text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", match[1])
            anchor = base = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
            repeated = 0
            while anchor in found:
                repeated += 1
                anchor = f"{base}-{repeated}"
            found.add(anchor)
    return found


def problem(root, page, link):
    """Why a link is broken; empty if it is not."""
    parts = urllib.parse.urlsplit(link)
    if parts.scheme or parts.netloc:
        return ""
    path = urllib.parse.unquote(parts.path)
    target = (page.parent / path).resolve() if path else page
    if not target.is_relative_to(root):
        return "leads out of the folder"
    if not target.exists():
        return "leads nowhere"
    if parts.fragment and target.suffix == ".md" and parts.fragment not in anchors(target):
        return "names a heading that is not there"
    return ""


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = pathlib.Path(sys.argv[1]).resolve()
    has_sources = (root / "CMakeLists.txt").exists()
    links, broken = 0, []
    for page in sorted(root.rglob("*.md")):
        if LEFT_OUT.intersection(page.relative_to(root).parts):
            continue
        for number, line in prose(page):
            place = f"{page.relative_to(root)}:{number}"
            for match in LINK.finditer(re.sub(r"`[^`]*`", "", line)):
                link = match[1] or match[2]
                links += 1
                if reason := problem(root, page, link):
                    broken.append(f"{place}: {link} {reason}")
            if has_sources:
                broken += [f"{place}: there is no {name}" for name in NAMED.findall(line) if not (root / name).exists()]
    if links == 0:
        broken.append(f"{root}: no page has a link")
    print("\n".join(broken) or f"{links} links")
    sys.exit(bool(broken))


if __name__ == "__main__":
    main()
