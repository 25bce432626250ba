#!/usr/bin/env python3
"""Makes platform/embedded/default_settings.xml: what every page writes for a new computer.

make_default_settings.py PROGRAM prints the file. On each page one control is changed and changed back, and so
the page writes all of its values.
"""

import json
import re
import subprocess
import sys
import tempfile


# Where the first control does more than store a value.
CHANGES = {
    "Print Monitor": ("Record Print Jobs to Event Log=on", "Record Print Jobs to Event Log=off"),
}


def main():
    program = sys.argv[1]
    with tempfile.TemporaryDirectory() as folder:

        def run(*arguments):
            command = [program, "--home", folder + "/home", "--json", *arguments]
            done = subprocess.run(command, capture_output=True, text=True, check=False)
            answer = json.loads(done.stdout)
            if done.returncode != 0:
                sys.exit(f"{arguments}: {answer['error']}")
            return answer["data"]

        pages = run("show", "--all")
        # A visit makes the keys of lists, which are there without a value.
        with open(folder + "/visits", "w", encoding="utf-8") as visits:
            visits.writelines(f"node {page['node']}\n" for page in pages)
        run("run", folder + "/visits")
        for page in pages:
            if page["node"].endswith("::Forwarding Control"):
                continue  # its values lie in a key that no page makes
            change = CHANGES.get(page["node"]) or find_change(page["controls"])
            if change is None:
                if any(is_open(control) for control in page["controls"]):
                    sys.exit(f"Nothing on the page {page['node']} can be changed and changed back.")
                continue
            for assignment in change:
                # To questions about services and folders.
                run("set", page["node"], assignment, *["--answer", "No"] * 3)
        run("export", folder + "/settings.xml", "--credentials", "no")
        with open(folder + "/settings.xml", encoding="utf-8", newline="") as file:
            text = file.read().replace("\r\n", "\n")
    # The installation's own values are no defaults, and neither is the order of the groups, without which
    # those that there are would be lost.
    print(re.sub(r' *<v name="(Path|HelpFile|Order)" .*\n', "", text), end="")


def is_open(control):
    """Whether a person can change a stored value with it."""
    return control["storedAs"] and control["enabled"] and control["visible"]


def find_change(controls):
    """Two assignments to controls with a stored value: one changes it, the other changes it back."""

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


if __name__ == "__main__":
    main()
