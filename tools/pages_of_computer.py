"""What the tools know of a computer's pages: how to run the program, and how to change one control of a page."""

import json
import subprocess
import sys

# Where the first control does more than store a value.
CHANGES = {
    "Print Monitor": ("Record Print Jobs to Event Log=on", "Record Print Jobs to Event Log=off"),
}


class Program:
    """The program on the home of a folder."""

    def __init__(self, path, folder):
        self.command = [path, "--home", folder + "/home"]

    def run(self, *arguments):
        """The data that a command gives; the script ends where it fails."""
        done = subprocess.run([*self.command, "--json", *arguments], capture_output=True, text=True, check=False)
        answer = json.loads(done.stdout)
        if done.returncode != 0:
            sys.exit(f"{arguments}: {answer['error']}")
        return answer["data"]

    def pages(self, *options):
        return self.run(*options, "show", "--all")

    def set(self, node, assignment):
        # To questions about services and folders.
        self.run("set", node, assignment, *["--answer", "No"] * 3)


def is_open(control):
    """Whether a person can change a stored value with it."""
    return control["storedAs"] and control["enabled"] and control["visible"]


def find_change(page):
    """Two assignments to controls with a stored value: one changes it, the other changes it back. None for a
    page without such a control; the script ends where one has controls and none of them will do."""
    if page["node"] in CHANGES:
        return CHANGES[page["node"]]
    if page["node"].endswith("::Forwarding Control"):
        return None  # its values lie in a key that no page makes
    change = change_in(page["controls"])
    if change is None and any(is_open(control) for control in page["controls"]):
        sys.exit(f"Nothing on the page {page['node']} can be changed and changed back.")
    return change


def change_in(controls):
    def of(name, other, value):
        return f"{name}={other}", f"{name}={value}"

    radios = {}  # of one value, by whether they are on
    for control in controls:
        if not is_open(control):
            continue
        if control["kind"] == "radio button":
            pair = radios.setdefault(control["storedAs"], {})
            pair[control["value"]] = control["name"]
            if len(pair) == 2:
                return f"{pair['off']}=on", f"{pair['on']}=on"
        if control["kind"] == "check box":
            return of(control["name"], "off" if control["value"] == "on" else "on", control["value"])
        rows = control.get("rows", [])
        if rows and isinstance(rows[0], dict):
            checked = rows[0]["checked"]
            return of(rows[0]["text"], "off" if checked else "on", "on" if checked else "off")
        if control["kind"] == "drop-down list" and control["value"] in rows:
            other = next((row for row in rows if row != control["value"]), None)
            if other is not None:
                return of(control["name"], other, control["value"])
    return None
