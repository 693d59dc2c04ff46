#!/usr/bin/env python3
"""Every line of the debug log that docs/debug-log.md explains is one that the component can write.

usage: log_texts_test.py REPOSITORY
"""
import pathlib
import re
import sys


def explained(page):
    """The texts that begin the items below the heading, cut where the page leaves something out."""
    section = page.read_text(encoding="utf-8").split("## Which line tells what", 1)[1]
    for item in re.findall(r"^- ((?:.|\n  )*)", section, re.MULTILINE):
        head = re.split(r":\s(?=(?:[^`]*`[^`]*`)*[^`]*$)", item, maxsplit=1)[0]  # the first colon outside a text
        for text in re.findall(r"`([^`]*)`", head):
            yield from (piece for piece in text.split("...") if piece)


def written(root):
    """The text literals of the component's sources, neighbours joined as the compiler joins them."""
    folders = ("src", "cm_BackPlane/src", "cm_CMBaseUtils/src")
    sources = "\n".join(path.read_text(encoding="utf-8") for folder in folders for path in sorted((root / folder).glob("*.cpp")))
    return re.sub(r'(?<!\\)"\s*\n\s*"', "", sources)


def main():
    root = pathlib.Path(sys.argv[1])
    sources = written(root)
    texts = list(explained(root / "docs" / "debug-log.md"))
    unknown = [text for text in texts if text not in sources]
    for text in unknown:
        print(f"docs/debug-log.md explains a line that nothing writes: {text!r}")
    print(f"{len(texts)} texts")
    sys.exit(bool(unknown) or len(texts) < 25)


if __name__ == "__main__":
    main()
