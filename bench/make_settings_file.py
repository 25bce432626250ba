#!/usr/bin/env python3
"""Writes a settings file of many users' keys, 20 values a key, for the benchmarks.

    make_settings_file.py VALUES FILE
"""

import sys

VALUES_PER_KEY = 20
SWITCHES = [
    "AllowSFTP", "AllowSCP", "AllowTerminal", "AllowExec", "AllowAgent", "LogSession", "UseProfile",
    "InheritGroup", "KeepAlive", "AllowTunnel",
]
TEXTS = ["HomeDirectory", "ShellCommand", "LogonDomain", "RemoteHost", "Comment"]
NUMBERS = ["IdleTimeout", "SessionLimit", "Port"]


def values(key):
    for i, name in enumerate(SWITCHES):
        yield name, "yes" if (key + i) % 3 else "no", ""
    for i, name in enumerate(TEXTS):
        yield name, f"C:\\Data\\u{key:05d}\\{i} &amp; more" if i == 0 else f"text {key * 7 + i}", ""
    for i, name in enumerate(NUMBERS):
        number = key * 31 + i
        yield name, f"0x{number:08x} ({number})", "REG_DWORD"
    yield "Mask", " ".join(f"{(key + i) % 256:02x}" for i in range(6)), "REG_BINARY"
    yield "SearchPath", f"%TEMP%\\u{key}", "REG_EXPAND_SZ"


def main():
    count, path = int(sys.argv[1]), sys.argv[2]
    with open(path, "w", newline="\r\n", encoding="utf-8") as out:
        out.write('<?xml version="1.0" encoding="UTF-8"?>\n <registry>\n')
        out.write('  <product name="Tessel Marrowen SSH Server"/>\n')
        chain = ["HKEY_LOCAL_MACHINE", "SOFTWARE", "TesselWorks", "SSHD", "Users"]
        for depth, name in enumerate(chain):
            out.write(" " * (2 + depth) + f'<k name="{name}">\n')
        for key in range(count // VALUES_PER_KEY):
            out.write(f'       <k name="user{key:06d}">\n')
            for name, value, kind in values(key):
                kind = f' type="{kind}"' if kind else ""
                out.write(f'        <v name="{name}" value="{value}"{kind}/>\n')
            out.write("       </k>\n")
        for depth in range(len(chain) - 1, -1, -1):
            out.write(" " * (2 + depth) + "</k>\n")
        out.write(" </registry>\n")


if __name__ == "__main__":
    main()
