#!/usr/bin/env python3
"""Checks that the table of trace texts has every message that the library's sources can trace.

usage: checkMessages.py SOURCES TABLE

A message's fixed parts are those texts of the sources that hold words. Each must stand in the table's source.
"""

import re
import sys
from pathlib import Path

# Comments and characters hold no text, whatever they look like.
TOKEN = re.compile(r"""//[^\n]*|/\*.*?\*/|'(?:\\.|[^'\\\n])+'|"(?P<text>(?:[^"\\]|\\.)*)\"""", re.DOTALL)
# Words, not a key, a format or the name of a setting.
MESSAGE = re.compile(r"[A-Za-z]{2}.*(\s|[.:]$)")


def texts_of(source):
    """The texts of a source, adjacent ones joined; preprocessor lines hold none."""
    code = re.sub(r"^\s*#.*$", "", source.read_text(encoding="utf-8"), flags=re.MULTILINE)
    texts, end = [], 0
    for found in TOKEN.finditer(code):
        if found["text"] is None:
            continue
        if texts and not code[end:found.start()].strip():
            texts[-1] += found["text"]
        else:
            texts.append(found["text"])
        end = found.end()
    for text in texts:
        yield text.replace("\\n", "").replace('\\"', '"').strip()


def main():
    sources, table = Path(sys.argv[1]), Path(sys.argv[2])
    known = re.sub(r"\s+", " ", table.read_text(encoding="utf-8")).replace('\\"', '"')
    checked, missing = 0, 0
    for source in sorted(sources.glob("*.cpp")):
        for text in texts_of(source):
            if not MESSAGE.search(text):
                continue
            checked += 1
            if re.sub(r"\s+", " ", text) not in known:
                missing += 1
                print(f"{source}: \"{text}\" does not stand in {table}")
    print(f"{checked} texts, {missing} missing")
    return 1 if missing or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
