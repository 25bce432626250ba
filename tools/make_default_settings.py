#!/usr/bin/env python3
"""Makes platform/embedded/default_settings.xml: what every page writes for a new computer.

make_default_settings.py PROGRAM prints the file. On each page one control is changed and changed back, and so
the page writes all of its values.
"""

import re
import sys
import tempfile

from pages_of_computer import Program, find_change


def main():
    with tempfile.TemporaryDirectory() as folder:
        program = Program(sys.argv[1], folder)
        pages = program.pages()
        # A visit makes the keys of lists, which are there without a value.
        with open(folder + "/visits", "w", encoding="utf-8") as visits:
            visits.writelines(f"node {page['node']}\n" for page in pages)
        program.run("run", folder + "/visits")
        for page in pages:
            for assignment in find_change(page) or ():
                program.set(page["node"], assignment)
        program.run("export", folder + "/settings.xml", "--credentials", "no")
        with open(folder + "/settings.xml", encoding="utf-8", newline="") as file:
            text = file.read().replace("\r\n", "\n")
    # The installation's own values are no defaults, and neither is the order of the groups, without which
    # those that there are would be lost. Bytes that are none would come back from the file as one.
    print(re.sub(r' *<v name="(Path|HelpFile|Order|X509HostCert)" .*\n', "", text), end="")


if __name__ == "__main__":
    main()
