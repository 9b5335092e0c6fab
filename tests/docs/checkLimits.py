#!/usr/bin/env python3
"""Checks that the pages name the limits that the code has.

usage: checkLimits.py PROJECT
"""

import re
import sys
from pathlib import Path


class Limit(int):
    """A constant of the code, in the forms in which a page names it."""

    def __format__(self, form):
        if form == "word":
            return {10: "ten", 20: "twenty"}[self]
        if form == "less one":
            return str(self - 1)
        if form == "bits":
            return str(self.bit_length() - 1)
        if form in ("KiB", "MiB"):
            unit = 1 << {"KiB": 10, "MiB": 20}[form]
            return f"{self // unit} {form}" if self % unit == 0 else f"{self} bytes"
        return int.__format__(self, form)


MAN = "docs/man/"
FORMAT = "docs/database-file-format.md"

# A page, the source of the constants, and what the page says of them.
LIMITS = [
    (MAN + "varnix-config.5.scd", "src/configText.cpp",
     "more than {maxSize:MiB} with all that it includes, each included file counting {fileCost:KiB} more"),
    (MAN + "varnix-config.5.scd", "src/configText.cpp", "includes files more than {maxIncludeDepth:word} deep"),
    (MAN + "varnix-config.5.scd", "src/configText.cpp", "in each other more than {maxNesting:less one} deep"),
    (MAN + "varnix-schema.5.scd", "schema/keyPattern.h", "A key has at most {maxSize} bytes"),
    (MAN + "varnix-schema.5.scd", "schema/keyPattern.h", "a key of more than {maxKeySize:,} bytes"),
    (MAN + "varnix-schema.5.scd", "schema/schema.h",
     "at most {maxLines:,} lines, {maxPatterns:,} of them with patterns, whose keys have at most "
     "{maxPatternSize:,} bytes together, and whose expressions at most {maxExpressionSize:,} characters"),
    (MAN + "varnix-schema.5.scd", "schema/expression.h",
     "An expression has at most {maxSize} bytes, at most {maxExpandedSize:,} characters"),
    (MAN + "varnix-schema.5.scd", "schema/expression.h", "a text of more than {maxTextSize:,} bytes"),
    (MAN + "varnix-schema.5.scd", "schema/judge.h", "at most {maxElementFindings} elements are named"),
    (MAN + "varnix-schema.5.scd", "dbfile/sourceText.h", "up to {maxSourceErrors:word} of each schema"),
    (MAN + "varnix-source.5.scd", "dbfile/sourceText.h", "named, up to {maxSourceErrors:word}"),
    (MAN + "varnix-source.5.scd", "dbfile/format.h", "A value takes at most {maxDataLength} bytes"),
    (FORMAT, "dbfile/format.h", "bytes of data, 0 to {maxDataLength}"),
    (FORMAT, "dbfile/format.h", "N is at least {headerSize} and at most {maxSoftwareLength}"),
    (FORMAT, "dbfile/format.h", "The file is N + {trailerSize} bytes long"),
    (MAN + "varnix.1.scd", "tools/varnix/fileCache.h", "those above {maxFileSize:MiB} are not read"),
    (MAN + "dbcsi-server.1.scd", "tools/dbcsi-server/settings.h",
     "more than _BYTES_ wait, {queueLimit} where nothing else"),
    (MAN + "dbcsi-server.1.scd", "src/textValues.cpp", "decimal with up to {longestNumber:word} digits"),
    ("docs/platform.md", "platform/itc/frame.h", "a message | {minMessageSize} to {maxMessageSize:,} bytes"),
    ("docs/platform.md", "platform/itc/frame.h", "a name | {maxNameSize} bytes"),
    ("docs/trace-events.md", "src/dbRegistryImpl.cpp", "than {longestList:MiB} is never recorded"),
    # The same limit on both sides of a library's edge.
    ("tools/dbcsi/mailbox.h", "platform/itc/frame.h", "largestMessage = std::size_t{{1}} << {maxMessageSize:bits}"),
]


# What else stands in the expression of a constant.
NAMES = {"UINT32_MAX": str(2**32 - 1), "sizeof(std::uint32_t)": "4"}


def limit_named(name, source):
    """The value of a constant, whose expression may name others of its source."""
    found = re.search(rf"\b{name}\s*=\s*([^;]+);", source)
    if not found:
        raise LookupError(f"no constant {name}")
    expression = found[1]
    for text, value in NAMES.items():
        expression = expression.replace(text, value)
    expression = re.sub(r"std::\w+\{(\w+)\}", r"\1", expression).replace("'", "")
    expression = re.sub(r"\b(0[xX][0-9a-fA-F]+|\d+)[uU]?\b", r"\1", expression)
    expression = re.sub(r"\b[a-z]\w*", lambda word: str(int(limit_named(word[0], source))), expression)
    return Limit(eval(expression, {"__builtins__": {}}))  # digits and operators alone


class Limits(dict):
    """The constants of a source by their names."""

    def __init__(self, source):
        super().__init__()
        self.source = source

    def __missing__(self, name):
        return limit_named(name, self.source)


def plain(text):
    return re.sub(r"\s+", " ", text)


def main():
    project = Path(sys.argv[1])
    wrong = 0
    for page, source, words in LIMITS:
        limits = Limits((project / source).read_text(encoding="utf-8"))
        expected = words.format_map(limits)
        if expected not in plain((project / page).read_text(encoding="utf-8")):
            wrong += 1
            print(f"{page} does not say as {source}: {expected}")
    print(f"{len(LIMITS)} limits, {wrong} wrong")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
