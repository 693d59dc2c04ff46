#!/usr/bin/env python3
"""Draws terminal output as an SVG picture. Standard input: the output, with its colours; standard output: the picture."""
import html
import re
import sys

WIDTH, HEIGHT, MARGIN = 7.8, 18, 16
INK = "#e6edf3"
STYLES = {"1": f'fill="{INK}" font-weight="bold"', "31": 'fill="#ff7b72"', "32": 'fill="#56d364"'}


def pieces(line):
    """The line as (text, style) pairs."""
    style = f'fill="{INK}"'
    for part in re.split(r"(\033\[[0-9;]*m)", line):
        code = re.fullmatch(r"\033\[([0-9;]*)m", part)
        if code:
            style = STYLES.get(code[1], f'fill="{INK}"')
        elif part:
            yield part, style


def main():
    lines = [re.sub(r"\033\[[0-9;]*[A-Za-ln-z]", "", line.rstrip("\r\n")) for line in sys.stdin]
    while lines and not lines[-1]:
        lines.pop()
    columns = max(sum(len(text) for text, _ in pieces(line)) for line in lines)
    width, height = columns * WIDTH + 2 * MARGIN, len(lines) * HEIGHT + 2 * MARGIN
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" height="{height}"'
          ' font-family="ui-monospace, SFMono-Regular, Menlo, Consolas, \'DejaVu Sans Mono\', monospace" font-size="13">')
    print(f'<rect width="{width:.0f}" height="{height}" rx="10" fill="#161b22"/>')
    for number, line in enumerate(lines):
        column, y = 0, MARGIN + number * HEIGHT + 13
        for text, style in pieces(line):
            # The length is stated, so that columns line up in whatever font there is.
            print(f'<text x="{MARGIN + column * WIDTH:.1f}" y="{y}" textLength="{len(text) * WIDTH:.1f}" {style}'
                  f' xml:space="preserve">{html.escape(text)}</text>')
            column += len(text)
    print("</svg>")


main()
