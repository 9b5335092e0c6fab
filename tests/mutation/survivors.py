"""The mutants that no test can notice, with their reasons: the entries of survivors-*.txt."""

import re
from pathlib import Path

from rooms import room_of

ENTRY = re.compile(r"^(?P<source>\S+)\n-(?P<before>.*)\n\+(?P<after>.*)\n(?P<reason>(?:  .*\n)+)",
                   re.MULTILINE)


def read_survivors():
    """The reasons by what is changed: an entry follows its line wherever it moves in its source."""
    return {(entry["source"], entry["before"].strip(), entry["after"].strip()): entry["reason"]
            for path in Path(__file__).parent.glob("survivors-*.txt")
            for entry in ENTRY.finditer(path.read_text(encoding="utf-8"))}


def key(mutant):
    return mutant.source, mutant.before, mutant.after


def described(source, before, after):
    return f"{source}\n- {before}\n+ {after}\n"


def stale(known, mutants):
    """Describes each entry that names no mutant of its source, and where in the room one is."""
    existing = {key(mutant) for mutant in mutants}
    for source, before, after in sorted(known - existing):
        others = sorted(other for other, *change in existing
                        if change == [before, after] and room_of(other) == room_of(source))
        yield described(source, before, after) + "".join(f"  now in {other}\n" for other in others)
