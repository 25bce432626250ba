"""The examples of the documents: in a fenced block, "$ COMMAND" and below it what the command prints, both of its
outputs together. "..." stands for any text, on a line of its own for any lines. The blocks of one document run in
one folder, in their order. A comment "<!-- not run: WHY -->" before a block leaves it out."""

import re
import subprocess

FENCE = '```'
NOT_RUN = '<!-- not run: '


def blocks(text):
    """(number of the first line, lines) of each block that has a command and is run."""
    inside, skipped, block, first = False, False, [], 0
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith(FENCE):
            if inside and not skipped and any(one.startswith('$ ') for one in block):
                yield first, block
            if inside:
                skipped = False
            inside, block, first = not inside, [], number + 1
        elif inside:
            block.append(line)
        elif line.startswith(NOT_RUN):
            skipped = True
        elif line.strip():
            skipped = False
    assert not inside, 'a block has no end'


def commands(first, block):
    """(number of its line, command, lines that it is to print); a command goes on behind a backslash."""
    found = []
    for number, line in enumerate(block, first):
        if line.startswith('$ '):
            found.append([number, line[2:], []])
        elif found and not found[-1][2] and found[-1][1].endswith('\\'):
            found[-1][1] = found[-1][1][:-1] + line.strip()
        elif found:
            found[-1][2].append(line)
    return found


def pattern(lines):
    parts = []
    for line in lines:
        if line.strip() == '...':
            parts.append(r'(?:[^\n]*\n)*?')
        else:
            parts.append(re.escape(line.rstrip()).replace(r'\.\.\.', r'[^\n]*') + r'[ ]*\n')
    return re.compile(''.join(parts))


def check(name, text, newcomer):
    """The failures of one document, and the number of its commands."""
    failures, count = [], 0
    for first, block in blocks(text):
        for number, command, wanted in commands(first, block):
            count += 1
            printed = newcomer.run(command, stderr=subprocess.STDOUT).stdout
            if printed and not printed.endswith('\n'):
                printed += '\n'
            if not pattern(wanted).fullmatch(printed):
                failures.append(f'{name}, line {number}: {command}\n  printed:\n{printed}  and not:\n' + '\n'.join(wanted))
    return failures, count
