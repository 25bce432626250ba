#!/usr/bin/env python3
"""Holds the help beside the pages complete: every page has a file, every setting a sentence, and no sentence
is left behind when a setting goes.

check_help.py PROGRAM tells what is amiss, one line each; the exit status is 1 if there is anything.
"""

import pathlib
import sys
import tempfile

from pages_of_computer import Program

PAGES = pathlib.Path(__file__).resolve().parent.parent / "pages"
FIELDS = ("Default", "Under", "Danger", "Also", "Rows", "Rank")
LONGEST_SENTENCE = 200
BUTTONS_WITHOUT_HELP = ("OK", "Cancel", "Close")
# A slider moves with an edit that has a sentence of its own.
KINDS_WITHOUT_HELP = ("slider", "link")
# One file tells of the pages that several lists share.
SHARED_BY_USERS = ("Users", "Groups", "IP Range")
LISTS = (*SHARED_BY_USERS, "SFTP Users", "SFTP Groups", "SCP Users", "SCP Groups")


def title_of(node):
    """The title in the help of a page of the tree: that of the user Default, where a page is of many."""
    parts = node.split("::")
    if parts[0] not in LISTS or len(parts) == 1:
        return node
    parts[1] = "Default"
    if parts[0] in SHARED_BY_USERS:
        parts[0] = "Users"
    elif len(parts) > 2:
        parts[0] = "SFTP Users"
    return "::".join(parts)


class Section:
    """A page or a dialog: what stands before the settings, and the lines of each setting by its caption."""

    def __init__(self, file):
        self.file = file
        self.about = []
        self.settings = {}


def sections_of(files, complaints):
    sections = {}
    for file in files:
        lines = None
        for line in file.read_text(encoding="utf-8").splitlines():
            if line.startswith("# "):
                section = Section(file.name)
                if sections.setdefault(line[2:], section) is not section:
                    complaints.append(f"{file.name}: a second \"{line}\"")
                lines = section.about
            elif line.startswith("## "):
                lines = []
                if section.settings.setdefault(line[3:], lines) is not lines:
                    complaints.append(f"{file.name}: a second \"{line}\"")
            elif lines is None:
                complaints.append(f"{file.name}: begins with no title")
                break
            elif line:
                lines.append(line)
    return sections


def wrong_lines(title, section):
    """What a reader of the files would stumble over."""
    if not section.about:
        yield f"{section.file}: \"# {title}\" says nothing"
    for caption, lines in section.settings.items():
        where = f"{section.file}: \"## {caption}\""
        if not lines or is_field(lines[0]):
            yield f"{where} has no sentence"
            continue
        if len(lines[0].split(". ")[0]) > LONGEST_SENTENCE:
            yield f"{where} has a first sentence of more than {LONGEST_SENTENCE} characters"
        names = [line.split(":")[0] for line in lines[1:]]
        yield from (f"{where} has a line \"{line}\" of no kind" for line in lines[1:] if not is_field(line))
        yield from (f"{where} says {name} twice" for name in FIELDS if names.count(name) > 1)
        for line in lines[1:]:
            under = line.removeprefix("Under: ")
            if under != line and (under == caption or under not in section.settings):
                yield f"{where} is under \"{under}\", which names no other setting"


def is_field(line):
    return any(line.startswith(f"{name}: ") for name in FIELDS)


def wants_help(control):
    if control["storedAs"]:
        return True
    if control["kind"] == "edit" and not control["caption"]:
        return False  # what the page says of itself
    return (
        control["visible"]
        and control["kind"] not in KINDS_WITHOUT_HELP
        and control["name"] not in BUTTONS_WITHOUT_HELP
    )


def controls_by_title(program):
    by_title = {}
    for page in program.pages():
        by_title.setdefault(title_of(page["node"]), []).extend(page["controls"])
    return by_title


def make_one_of_each(program):
    for service in ((), ("sftp",), ("scp",)):
        program.run(*service, "user", "add", "joe")
        program.run(*service, "group", "add", "Guests")
    program.run("range", "add", "10.0.0.1")


def wrong_pages(sections, by_title):
    for title in sorted(by_title.keys() - sections.keys()):
        yield f"The page \"{title}\" has no help"
    for title, section in sections.items():
        if title in by_title:
            known = {control["name"].strip(): control for control in by_title[title]}
            for name, control in known.items():
                if wants_help(control) and name not in section.settings:
                    yield f"{section.file}: the {control['kind']} \"{name}\" has no sentence"
            for caption in sorted(section.settings.keys() - known.keys()):
                yield f"{section.file}: no control is called \"{caption}\""
        else:
            yield from wrong_dialog(title, section, by_title)


def wrong_dialog(title, section, by_title):
    """A dialog shows its controls only while it is open, so its captions are looked for in the sources."""
    page, _, dialog = title.partition(" > ")
    if page not in by_title or not dialog:
        yield f"{section.file}: no page is called \"{title}\""
        return
    sources = "".join(source.read_text(encoding="utf-8") for source in sorted(PAGES.glob("*/*.cpp")))
    sources += "".join(source.read_text(encoding="utf-8") for source in sorted(PAGES.glob("*/*.h")))
    yield from (
        f"{section.file}: no dialog has a \"{text}\""
        for text in (dialog, *section.settings)
        if f'"{text}"' not in sources and f'"({text})"' not in sources
    )


def main():
    complaints = []
    sections = sections_of(sorted(PAGES.glob("*/*.md")), complaints)
    for title, section in sections.items():
        complaints += wrong_lines(title, section)
    with tempfile.TemporaryDirectory() as folder:
        program = Program(sys.argv[1], folder)
        make_one_of_each(program)
        complaints += wrong_pages(sections, controls_by_title(program))
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
