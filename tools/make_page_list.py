#!/usr/bin/env python3
"""Makes docs/pages.md: every page of a new computer, its settings, and the values that they are stored as.

make_page_list.py PROGRAM prints the file.
"""

import sys
import tempfile

from pages_of_computer import Program

HEAD = """# The pages and what they store

One section for each page of a new computer's tree, one line for each setting: what it is called on the page,
what kind of control it is, and the values that hold it. `marrowen show NODE` shows what a page holds now,
`marrowen find TEXT` where a setting or a value is. The pages of a user stand for those of groups and address
ranges too. `tools/make_page_list.py` makes this list.
"""


def cell(text):
    return " ".join(text.replace("|", "\\\\|").split())


def main():
    print(HEAD, end="")
    with tempfile.TemporaryDirectory() as folder:
        for page in Program(sys.argv[1], folder).pages():
            stored = [control for control in page["controls"] if control["storedAs"]]
            buttons = [control["name"] for control in page["controls"] if control["kind"] == "button" and control["visible"]]
            print(f"\n## {page['node']}\n")
            if stored:
                print("| Setting | Control | Stored as |\n|---|---|---|")
            for control in stored:
                hidden = "" if control["visible"] else ", never shown"
                values = ", ".join(f"`{name}`" for name in control["storedAs"].split(", "))
                print(f"| {cell(control['name'])} | {control['kind']}{hidden} | {values} |")
            if buttons:
                print(("\n" if stored else "") + "Buttons: " + ", ".join(cell(name) for name in buttons) + ".")


if __name__ == "__main__":
    main()
