#!/usr/bin/env python3
"""Prints what the program's own help says as a manual page, or as what bash completes:
describe_commands.py man|bash PROGRAM
"""

import pathlib
import re
import subprocess
import sys

PACKAGING = pathlib.Path(__file__).resolve().parent.parent / "packaging"
# A row of the help: what is named, and behind two spaces or more what it does.
ROW = re.compile(r"^  (\S.*?)(?:  +(.*))?$")


class Command:
    """One command's help: what it does, its usage, and the rows of its sections by their titles."""

    def __init__(self, program, words):
        self.words = words
        lines = printed(program, "help", *words).splitlines()
        self.about = lines[0]
        self.usage = lines[1].removeprefix("Usage: ")
        self.sections = {}
        for line in lines[2:]:
            if line.endswith(":") and not line.startswith(" "):
                rows = self.sections.setdefault(line[:-1], [])
            elif line.startswith("   "):
                # A long name has a line of its own.
                rows[-1] = (rows[-1][0], f"{rows[-1][1]} {line.strip()}".strip())
            elif line:
                named, does = ROW.match(line).groups()
                rows.append((named, does or ""))
        self.below = [Command(program, [*words, name]) for name in self.names("Commands")]

    def names(self, section):
        return [named for named, _ in self.sections.get(section, ())]

    def options(self):
        """Each option's spellings, and what it takes: "" or "FILE"."""
        for named in self.names("Options"):
            spellings, _, takes = named.partition(" ")
            yield spellings.split(","), takes.removesuffix(" ...")

    def all(self):
        yield self
        for command in self.below:
            yield from command.all()


def printed(program, *arguments):
    return subprocess.run([program, *arguments], capture_output=True, text=True, check=True).stdout


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in (".", "'") else text


def rows(command, section):
    for named, does in command.sections.get(section, ()):
        # "PAGE TEXT REQUIRED" is PAGE; the usage says whether it is required.
        named = named.split(" ")[0] if section == "Arguments" else named.replace(",", ", ")
        if does and named != "-h, --help":
            yield f".TP\n.B {roff(named)}\n{roff(does)}"


def manual(top, version):
    yield f'.TH MARROWEN 1 "" "{roff(version)}" "User Commands"'
    yield f".SH NAME\nmarrowen \\- {roff(top.about[0].lower() + top.about[1:].rstrip('.'))}"
    yield f".SH SYNOPSIS\n{roff(top.usage)}"
    yield ".SH OPTIONS\nThey may stand before and behind the command; \\-\\-help tells of the command it stands with."
    yield from rows(top, "Options")
    yield ".SH COMMANDS"
    for command in top.all():
        if command.words and not command.below:
            yield f".SS {roff(' '.join(command.words))}\n{roff(command.about)}\n.PP\n{roff(command.usage)}"
            yield from rows(command, "Arguments")
            yield from rows(command, "Options")
    yield (PACKAGING / "manual_end.man").read_text(encoding="utf-8").rstrip("\n")


def long_options(command):
    return {spelling for spellings, _ in command.options() for spelling in spellings if spelling.startswith("--")}


def completion(top):
    """One row for each command: the words that may follow, among them the options of the commands above it."""
    yield "# What bash completes behind \"marrowen\": commands, options, and names of files."
    yield "declare -gA _marrowen_follows=("
    options = {}
    for command in top.all():
        words = " ".join(command.words)
        options[words] = long_options(command) | options.get(" ".join(command.words[:-1]), set())
        # Behind "help" stand the commands again.
        if words != "help":
            row = " ".join(command.names("Commands") + sorted(options[words]))
            yield f"  ['{f'marrowen {words}'.rstrip()}']='{row}'"
    yield ")"
    takes = {spelling for command in top.all() for spellings, value in command.options() if value
             for spelling in spellings}
    yield f"_marrowen_takes=' {' '.join(sorted(takes))} '"
    yield (PACKAGING / "completion_end.bash").read_text(encoding="utf-8").rstrip("\n")


def main():
    what, program = sys.argv[1:]
    top = Command(program, [])
    lines = manual(top, printed(program, "--version").strip()) if what == "man" else completion(top)
    print("\n".join(lines))


if __name__ == "__main__":
    main()
