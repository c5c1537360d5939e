#!/usr/bin/env python3
"""Types what a document tells to type, at a keyboard and a screen as a reader has them, and looks for failures.

usage: type_in_desk.py SOURCE_DIR DOCUMENT
       Each line of the block after <!-- typed: PROGRAM --> is typed into PROGRAM's shell and has to end with status 0.
       A question is answered with y.
"""
import pathlib
import re
import sys

import pexpect

PROMPT = "desk\\$ "


def typed_block(document):
    return re.search(r"^<!-- typed: ([^\n]+) -->\n```sh\n(.*?)^```$", document.read_text(), re.M | re.S).groups()


def carry_out(shell, line):
    shell.sendline(line)
    while shell.expect([PROMPT, "\\[y/N\\] "]) == 1:
        shell.sendline("y")
    shell.sendline("echo status=$?")
    shell.expect("status=(\\d+)")
    status = shell.match[1]
    shell.expect(PROMPT)
    return status == "0"


def main(source, document):
    program, lines = typed_block(document)
    shell = pexpect.spawn("env", [str(source / program)], encoding="utf-8", dimensions=(40, 160), timeout=60, logfile=sys.stdout)
    shell.expect(PROMPT)
    done = [carry_out(shell, line) for line in lines.splitlines()]
    shell.sendline("exit")
    shell.expect(pexpect.EOF)
    shell.close()
    print(f"\n{len(done)} lines, {done.count(False)} failures, exit status {shell.exitstatus}")
    return len(done) > 0 and all(done) and shell.exitstatus == 0


sys.exit(0 if main(*map(pathlib.Path, sys.argv[1:3])) else 1)
