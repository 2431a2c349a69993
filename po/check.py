#!/usr/bin/env python3
"""Checks the translation catalogue: po/numbrel.pot holds exactly the texts the sources ask for (as
the build gathers them), and every po/LANG.po translates each of them, with nothing fuzzy and the same
placeholders in the same order as its key (texts are filled in order).

Usage: check.py GATHERED_POT PO_DIR
"""
import glob
import os
import re
import sys

PLACEHOLDER = re.compile(r"%(?:@|lu|ld|l?d|s|\d|\.?\d*f|%)")


def entries(path):
    """(msgid, msgstr, fuzzy) for every entry but the header and obsolete ones."""
    out = []
    msgid = msgstr = None
    fuzzy = False
    field = None
    with open(path, encoding="utf-8") as f:
        lines = f.read().splitlines() + [""]
    for line in lines:
        if line.startswith("#~"):
            continue
        if line.startswith("#,"):
            fuzzy = "fuzzy" in line
        elif line.startswith("msgid "):
            msgid, field = line[6:], "id"
        elif line.startswith("msgstr "):
            msgstr, field = line[7:], "str"
        elif line.startswith('"') and field:
            if field == "id":
                msgid += line
            else:
                msgstr += line
        elif not line.strip():
            if msgid is not None:
                out.append((unquote(msgid), unquote(msgstr or '""'), fuzzy))
            msgid = msgstr = field = None
            fuzzy = False
    return [e for e in out if e[0]]


def unquote(text):
    return "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', text)).encode().decode("unicode_escape").encode(
        "latin-1").decode("utf-8")


def main():
    gathered, po_dir = sys.argv[1], sys.argv[2]
    problems = []
    keys = [e[0] for e in entries(gathered)]
    committed = [e[0] for e in entries(os.path.join(po_dir, "numbrel.pot"))]
    if sorted(keys) != sorted(committed):
        added = sorted(set(keys) - set(committed))
        gone = sorted(set(committed) - set(keys))
        problems.append("po/numbrel.pot is not the catalogue of the sources (run the update-po target): "
                        "%d new, %d gone, e.g. %r" % (len(added), len(gone), (added + gone)[:3]))
    for po in sorted(glob.glob(os.path.join(po_dir, "*.po"))):
        name = os.path.basename(po)
        translated = {e[0]: e for e in entries(po)}
        for key in keys:
            entry = translated.get(key)
            if entry is None or not entry[1]:
                problems.append("%s: untranslated: %r" % (name, key))
            elif entry[2]:
                problems.append("%s: fuzzy: %r" % (name, key))
            elif PLACEHOLDER.findall(entry[1]) != PLACEHOLDER.findall(key):
                problems.append("%s: placeholders %s for %s in %r" % (
                    name, PLACEHOLDER.findall(entry[1]), PLACEHOLDER.findall(key), key))
    for p in problems:
        print(p)
    print("%d texts, %d translations checked, %d problems" % (
        len(keys), len(glob.glob(os.path.join(po_dir, "*.po"))), len(problems)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
