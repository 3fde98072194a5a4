#!/usr/bin/env python3
"""Turns a localised string table (a property list of key -> text) into the
JSON object the program reads at run time, so that the lowest layer of the
program needs no property-list reader. Usage: make-strings-table.py IN OUT"""
import json
import plistlib
import sys

with open(sys.argv[1], "rb") as source:
    table = plistlib.load(source)
if not isinstance(table, dict) or not all(isinstance(v, str) for v in table.values()):
    sys.exit(f"{sys.argv[1]}: not a table of texts")
with open(sys.argv[2], "w", encoding="utf-8") as out:
    json.dump(table, out, ensure_ascii=False, sort_keys=True, indent=0)
