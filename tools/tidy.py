#!/usr/bin/env python3
"""Runs clang-tidy over sources as the build folder compiles them, and passes over those that it found clean before,
wherever they lay then.

    tidy.py BUILD FILE...
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

# GCC's own warning options mean nothing to clang.
TIDY = ["clang-tidy", "-quiet", "-extra-arg=-Wno-unknown-warning-option"]


def preprocessed(command):
    words = shlex.split(command["command"])
    output = words.index("-o")
    words[output : output + 2] = []
    words[words.index("-c")] = "-E"
    # Comments silence findings; where the source lies does not matter.
    return subprocess.run(words + ["-C", "-P"], cwd=command["directory"], check=True, stdout=subprocess.PIPE).stdout


def check(build, known, command, rules):
    """What clang-tidy finds in the source; empty for a clean one."""
    clean = known / hashlib.sha256(rules + preprocessed(command)).hexdigest()
    if clean.exists():
        return ""
    ran = subprocess.run(TIDY + ["-p", build, command["file"]], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if ran.returncode == 0:
        clean.touch()
        return ""
    return ran.stdout


def main():
    build = pathlib.Path(sys.argv[1])
    known = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "marrowen-tidy"
    known.mkdir(parents=True, exist_ok=True)
    wanted = {os.path.abspath(name) for name in sys.argv[2:]}
    commands = [c for c in json.loads((build / "compile_commands.json").read_text()) if c["file"] in wanted]
    rules = pathlib.Path(".clang-tidy").read_bytes() + subprocess.check_output(["clang-tidy", "--version"])
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = [text for text in pool.map(lambda c: check(build, known, c, rules), commands) if text]
    print("\n".join(found), end="")
    print(f"{len(commands)} sources, {len(found)} with findings")
    return 1 if found else 0


sys.exit(main())
