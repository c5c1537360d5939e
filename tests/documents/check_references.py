#!/usr/bin/env python3
"""Fails when a document names a file that is not there, or docs/api.md leaves out something of lpa/lpa.h.

usage: check_references.py SOURCE_DIR
"""
import pathlib
import re
import sys


def missing_files(source, document):
    """Names like `rsp/bpp_loader` (a module, with or without suffix), `docs/api.md`, `scripts/test --arm`."""
    folders = {entry.name for entry in source.iterdir() if entry.is_dir()} - {"build"}
    for name in re.findall(r"`([\w./-]+)[^`\n]*`", document.read_text()):
        path = source / name
        if "/" not in name.rstrip("/") or name.split("/")[0] not in folders:
            continue
        if not path.exists() and not list(path.parent.glob(path.name + ".*")):
            yield name


def main(source):
    problems = []
    documents = [path for path in source.rglob("*.md") if path.relative_to(source).parts[0] != "build"]
    for document in documents:
        problems += [f"{document.relative_to(source)}: there is no {name}" for name in missing_files(source, document)]
    header = (source / "lpa/lpa.h").read_text()
    names = re.findall(r"^[\w ]+?\*?(\w+)\(.*[,;]$", header, re.M) + re.findall(r"^extern .*?(\w+);", header, re.M)
    text = (source / "docs/api.md").read_text()
    problems += [f"docs/api.md: {name} is left out" for name in names if name not in text]
    print("\n".join(problems) if problems else f"{len(documents)} documents, {len(names)} names, all there")
    return len(names) > 10 and len(documents) > 10 and not problems


sys.exit(0 if main(pathlib.Path(sys.argv[1])) else 1)
