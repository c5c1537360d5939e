#!/usr/bin/env python3
"""Carries out what a document shows, beside a simulated router, and compares.

usage: scripts/desk tests/documents/run_document.py SOURCE_DIR DOCUMENT [COMPILER FLAG...]
       The compiler and its flags build a program with the library.

```console      lines after "$ " are commands; what follows each is its output, standard error included.
                A line "..." stands for any lines. The server's port is a free one, whatever the document says, and
                a USB modem's port is the second simulated modem's.
<!-- run: F --> the block that follows is file F; a .c or .cpp is also built, as ./F without its suffix.
<!-- output: C --> the block that follows is what command C prints, run in the source's directory.
<!-- from: F --> the block that follows stands in the source F; "..." is left out there.
"""
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

PORT = re.compile(r"localhost:\d+")


def blocks(text):
    """(language, what the remark before it says, its argument, lines) of every fenced block."""
    found = re.compile(r"(?:<!-- (run|from|output): ([^\n]+) -->\n)?^```(\w*)\n(.*?)^```$", re.M | re.S)
    return [(match[3], match[1], match[2], match[4].splitlines()) for match in found.finditer(text)]


def commands(lines):
    """(command, expected lines); a command goes on while its lines end with a backslash."""
    result = []
    for line in lines:
        if result and result[-1][0].endswith("\\"):
            result[-1][0] += "\n" + line
        elif line.startswith("$ "):
            result.append([line[2:], []])
        else:
            result[-1][1].append(line)
    return result


def as_pattern(lines):
    any_lines = "(?:.*\n)*"
    return re.compile("".join(any_lines if line == "..." else re.escape(PORT.sub("localhost:PORT", line) + "\n")
                              for line in lines))


def without_empty_end(lines):
    while lines and not lines[-1]:
        lines = lines[:-1]  # the empty line before the next command
    return lines


def stands_in(lines, file):
    if as_pattern(lines).search(file.read_text()):
        return True
    print(f"not in {file}:\n" + "\n".join(lines))
    return False


def here(command, source):
    """The command with what is named otherwise on this machine."""
    command = command.replace("/dev/ttyUSB2", os.environ.get("ROUTER", "") + "/modem1.tty")
    command = command.replace("scripts/", shlex.quote(str(source)) + "/scripts/")
    return PORT.sub(os.environ.get("SERVER", ""), command)


def run(command, directory="."):
    done = subprocess.run(["bash", "-c", command], cwd=directory, env=dict(os.environ, NO_COLOR="1"),
                          text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return PORT.sub("localhost:PORT", done.stdout)


def build(name, compiler):
    source = pathlib.Path(name)
    language = {".c": ["-xc", "-std=c11"], ".cpp": ["-xc++", "-std=c++20"]}[source.suffix]
    subprocess.run([compiler[0], *language, "-Wall", "-Wextra", "-Werror", name, "-xnone", *compiler[1:], "-o",
                    source.stem] + (["-lstdc++"] if source.suffix == ".cpp" else []), check=True)
    return True


def prints(command, expected, directory="."):
    output = run(command, directory)
    if as_pattern(expected).fullmatch(output):
        return True
    print(f"$ {command}\n-- printed\n{output}-- instead of\n" + "\n".join(expected))
    return False


def carry_out(text, source, compiler):
    results = []
    for language, what, argument, lines in blocks(text):
        if what == "from":
            results.append(stands_in(lines, pathlib.Path(source, argument)))
        if what == "output":
            results.append(prints(here(argument, source), lines, source))
        if what == "run":
            pathlib.Path(argument).write_text("\n".join(lines) + "\n")
        if what == "run" and argument.endswith((".c", ".cpp")):
            results.append(build(argument, compiler))
        if language == "console":
            results += [prints(here(command, source), without_empty_end(expected)) for command, expected in commands(lines)]
    print(f"{len(results)} commands, programs and excerpts, {results.count(False)} failures")
    return bool(results) and all(results)


def main(source, document, *compiler):
    text = pathlib.Path(document).read_text()
    with tempfile.TemporaryDirectory() as directory:
        os.chdir(directory)
        return carry_out(text, source, compiler)


if len(sys.argv) < 3:
    sys.exit(__doc__.strip())
sys.exit(0 if main(*sys.argv[1:]) else 1)
