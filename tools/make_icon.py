#!/usr/bin/env python3
"""Draws the icon of the browser's page as the icon of the program for Windows: make_icon.py ICO

An .ico is a table of pictures, each of which may be a PNG; the browser draws them.
"""

import pathlib
import struct
import subprocess
import sys
import tempfile

SVG = pathlib.Path(__file__).resolve().parent.parent / "console/web/ui/icon.svg"
SIZES = (16, 24, 32, 48, 256)


def drawn(size, folder):
    page = pathlib.Path(folder) / "icon.html"
    picture = pathlib.Path(folder) / "icon.png"
    svg = SVG.read_text(encoding="utf-8").replace("<svg ", f'<svg width="{size}" height="{size}" ', 1)
    page.write_text(f"<style>body{{margin:0}}svg{{display:block}}</style>{svg}", encoding="utf-8")
    subprocess.run(
        ["chromium", "--headless", "--no-sandbox", f"--user-data-dir={folder}/profile", "--hide-scrollbars",
         "--default-background-color=00000000", f"--window-size={size},{size}", f"--screenshot={picture}",
         page.as_uri()],
        check=True, capture_output=True)
    return picture.read_bytes()


def main():
    with tempfile.TemporaryDirectory() as folder:
        pictures = [drawn(size, folder) for size in SIZES]
    table = struct.pack("<HHH", 0, 1, len(SIZES))
    at = len(table) + 16 * len(SIZES)
    for size, picture in zip(SIZES, pictures):
        # 256 is told as 0.
        table += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(picture), at)
        at += len(picture)
    pathlib.Path(sys.argv[1]).write_bytes(table + b"".join(pictures))


if __name__ == "__main__":
    main()
