#!/usr/bin/env python3
"""Builds the script catalogue "res_pack.db": a gzip-compressed XML property
list that maps each script's name (its file name without the extension) to
its AppleScript source, in which %@ and %d stand for the arguments in order.

usage: make-res-pack.py OUTPUT SCRIPT...
"""
import gzip
import os
import plistlib
import re
import sys

# The only conversions the program fills in; anything else is a typo.
PLACEHOLDER = re.compile(r"%(.)", re.DOTALL)


def check_placeholders(name, source):
    for match in PLACEHOLDER.finditer(source):
        if match.group(1) not in "@d%":
            line = source.count("\n", 0, match.start()) + 1
            sys.exit(f"make-res-pack: {name}:{line}: unexpected conversion %{match.group(1)}")


def main(argv):
    if len(argv) < 3:
        sys.exit(__doc__)
    output, paths = argv[1], argv[2:]
    catalogue = {}
    for path in paths:
        name = os.path.splitext(os.path.basename(path))[0]
        with open(path, encoding="utf-8") as handle:
            source = handle.read()
        check_placeholders(name, source)
        if name in catalogue:
            sys.exit(f"make-res-pack: script {name} given twice")
        catalogue[name] = source
    data = gzip.compress(plistlib.dumps(catalogue, fmt=plistlib.FMT_XML, sort_keys=True), mtime=0)
    temporary = output + ".tmp"
    with open(temporary, "wb") as handle:
        handle.write(data)
    os.replace(temporary, output)


if __name__ == "__main__":
    main(sys.argv)
