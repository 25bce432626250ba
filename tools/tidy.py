#!/usr/bin/env python3
"""Runs clang-tidy over sources as the build folder has compiled them, and passes over those that it found clean
before, wherever they lay then.

    tidy.py BUILD [--since COMMIT]

With a commit it checks what differs from it: the sources, and for each header a source that includes it.
"""

import argparse
import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

TIDY = ["clang-tidy", "-quiet"]
RULES = pathlib.Path(".clang-tidy")
# Tests and what another system's compiler builds are not checked.
PASSED_OVER = re.compile(r"(tests|fuzz|bench|platform/windows|build)/")


@functools.lru_cache(maxsize=None)
def digest(path):
    return hashlib.sha256(pathlib.Path(path).read_bytes()).digest()


class Source:
    def __init__(self, command, read, rules):
        self.file = os.path.relpath(command["file"])
        self.read = {os.path.normpath(os.path.join(command["directory"], path)) for path in read}
        # Where the sources lie does not matter, only what they say.
        words = command["command"].replace(os.getcwd(), "")
        self.key = hashlib.sha256(rules + words.encode() + b"".join(sorted(map(digest, self.read)))).hexdigest()


def read_build(build):
    """The sources that the build folder compiles and clang-tidy checks."""
    read = {}
    for line in subprocess.check_output(["ninja", "-C", build, "-t", "deps"], text=True).splitlines():
        if line.startswith("    "):
            read[output].append(line.strip())
        elif ": #deps" in line:
            output = line.split(": #deps")[0]
            read[output] = []
    rules = RULES.read_bytes() + subprocess.check_output(["clang-tidy", "--version"])
    sources = []
    for command in json.loads((build / "compile_commands.json").read_text()):
        name = os.path.relpath(command["file"])
        if name.startswith("..") or PASSED_OVER.match(name):
            continue
        words = shlex.split(command["command"])
        sources.append(Source(command, read[words[words.index("-o") + 1]], rules))
    return sources


def choose(sources, since):
    """Those sources through which clang-tidy sees all that differs."""
    git = ["git", "diff", "--name-only", "--diff-filter=d", since], ["git", "ls-files", "--others", "--exclude-standard"]
    differing = {name for command in git for name in subprocess.check_output(command, text=True).splitlines()}
    if str(RULES) in differing:
        return sources
    chosen = [source for source in sources if source.file in differing]
    for name in sorted(differing):
        path = os.path.abspath(name)
        if not name.endswith(".h") or any(path in source.read for source in chosen):
            continue
        stem = os.path.splitext(name)[0]
        chosen += sorted((s for s in sources if path in s.read), key=lambda s: s.file != stem + ".cpp")[:1]
    return chosen


def check(build, known, source):
    """What clang-tidy finds in the source; empty for a clean one."""
    ran = subprocess.run(TIDY + ["-p", build, source.file], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if ran.returncode == 0:
        (known / source.key).touch()
        return ""
    return ran.stdout


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--since")
    arguments = parser.parse_args()
    known = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "marrowen-tidy"
    known.mkdir(parents=True, exist_ok=True)
    sources = read_build(arguments.build)
    chosen = choose(sources, arguments.since) if arguments.since else sources
    unknown = [source for source in chosen if not (known / source.key).exists()]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = [text for text in pool.map(lambda s: check(arguments.build, known, s), unknown) if text]
    print("\n".join(found), end="")
    print(f"{len(chosen)} of {len(sources)} sources, {len(unknown)} not seen before, {len(found)} with findings")
    return 1 if found else 0


sys.exit(main())
