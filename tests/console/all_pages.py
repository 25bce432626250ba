#!/usr/bin/env python3
"""A configuration with every page touched goes out, comes back on an empty computer, and shows the same there.

all_pages.py PROGRAM
all_pages.py PROGRAM.exe NATIVE

Of the console for Windows, which Wine runs, the empty computer is an embedded one of the native console, whose file
then goes back into an empty registry of Wine.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tools"))
from pages_of_computer import Program, find_change  # noqa: E402

# What is no setting, or says where it stands.
NOT_CARRIED = {"Configuration Management", "About"}


def shown(pages):
    """Every control of every page with its value. A settings file carries the computer's name as such, so groups
    of the one are groups of the other."""
    lines = {}
    for page in json.loads(re.sub(r'[^":]+\\\\staff', "staff", json.dumps(pages))):
        if page["node"] in NOT_CARRIED:
            continue
        for control in page["controls"]:
            # Bytes that are none, here of no certificate, come back from a file as one: an export warns of it.
            if (page["node"], control["name"]) == ("General Settings::Host Key", "Thumbprint:"):
                continue
            lines[page["node"], control["name"], control["kind"]] = (control["value"], str(control.get("rows", "")))
    return lines


class WineProgram(Program):
    """The console for Windows on Wine's registry, which holds a server as it was installed."""

    def __init__(self, path):
        self.command = ["wine", path]
        self.empty()

    def empty(self):
        root = r"HKLM\Software\TesselWorks"
        subprocess.run(["wine", "reg", "delete", root, "/f"], capture_output=True, check=False)
        self.add(root + r"\SSHD", "/v", "Path", "/d", "C:\\TesselWorks\\SSHD\\")
        self.add(root + r"\SSHD", "/v", "LogFileDirectory", "/d", r"C:\windows\temp")
        for key in ("SSHD\\Users", "SSHD\\Groups", "SSHD\\IPs", "SSHD\\Certs", "SSHD\\PrinterInfo", "SFTP\\Users", "SFTP\\Groups", "SCP\\Users", "SCP\\Groups"):
            self.add(root + "\\" + key)

    @staticmethod
    def add(*words):
        subprocess.run(["wine", "reg", "add", *words, "/f"], capture_output=True, check=True)


def touch_all(program, with_groups):
    """Changes each page; how many there were, and what all show now."""
    program.run("user", "add", "ann")
    program.run("range", "add", "10.0.0.1", "10.0.0.9")
    for service in ("sftp", "scp"):
        program.run(service, "user", "add", "ann")
    if with_groups:
        program.run("group", "add", "staff")
        for service in ("sftp", "scp"):
            program.run(service, "group", "add", "staff")
    before = shown(program.pages())
    touched = 0
    for page in program.pages():
        change = find_change(page)
        if change is None:
            continue
        program.set(page["node"], change[0])
        touched += 1
    mine = shown(program.pages())
    changed = {line[0] for line in mine if mine[line] != before.get(line)}
    if len(changed) < touched:
        sys.exit(f"{touched} pages were edited and {len(changed)} show something else than before")
    return touched, mine


def hold_same(mine, theirs):
    lines = [f"{line}: {mine.get(line)} here, {theirs.get(line)} there" for line in {**mine, **theirs} if mine.get(line) != theirs.get(line)]
    if lines:
        sys.exit("\n".join(lines[:20]))


def on_wine(folder):
    program = WineProgram(sys.argv[1])
    native = Program(sys.argv[2], folder)
    touched, mine = touch_all(program, with_groups=False)  # Wine has none
    file, again = folder + "/all.xml", folder + "/again.xml"
    program.run("export", "Z:" + file.replace("/", "\\"), "--credentials", "no")
    native.run("import", file)
    hold_same(mine, shown(native.pages()))
    native.run("export", again, "--credentials", "no")
    program.empty()
    program.run("import", "Z:" + again.replace("/", "\\"))
    hold_same(mine, shown(program.pages()))
    return touched, mine


def on_embedded(folder):
    tools = os.path.join(os.path.dirname(__file__), "..", "..", "tools")
    made = subprocess.run([sys.executable, tools + "/make_page_list.py", sys.argv[1]], capture_output=True, text=True, check=True)
    with open(tools + "/../docs/pages.md", encoding="utf-8") as kept:
        if kept.read() != made.stdout:
            sys.exit("docs/pages.md is not the list of the pages; tools/make_page_list.py makes it")
    program = Program(sys.argv[1], folder)
    program.run("computer", "add", "empty")
    touched, mine = touch_all(program, with_groups=True)
    file = folder + "/all.xml"
    program.run("export", file, "--credentials", "no")
    program.run("--computer", "empty", "import", file)
    hold_same(mine, shown(program.pages("--computer", "empty")))
    # And nothing is left to import.
    left = program.run("--computer", "empty", "import", file, "--dry-run")
    if any(left.get(kind) for kind in ("added", "changed", "removed")):
        sys.exit(f"A second import would still change something: {left}")
    return touched, mine


def main():
    with tempfile.TemporaryDirectory() as folder:
        touched, mine = (on_wine if sys.argv[1].endswith(".exe") else on_embedded)(folder)
    print(f"all pages: {touched} edited, {len(mine)} controls as expected")


if __name__ == "__main__":
    main()
