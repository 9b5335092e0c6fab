#!/usr/bin/env python3
"""Says how much of the library its tests run, and fails where that is too little.

usage: report.py COVERAGE.json INSTRUMENTED.xml PLAIN.xml

COVERAGE.json is gcovr's, the others are ctest's records of the instrumented and of the plain build's
run. What no test runs must stand in uncovered.txt, each line of code with the reason. The status is
1 below the floors, where something else is not run, where uncovered.txt names code that there is
not, or where a case's result depends on the build.
"""

import collections
import json
import re
import sys
from pathlib import Path
from xml.etree import ElementTree

LINES_FLOOR, BRANCHES_FLOOR = 99.0, 95.0

ENTRY = re.compile(r"^(?P<source>[^\s#]\S*)\n> (?P<code>.*)\n  (?P<what>line|\d+ branch(?:es)?): ",
                   re.MULTILINE)


def read_uncovered(path):
    """How many branches each known line of code lacks; 0 for a line that is not run at all."""
    found = {}
    for entry in ENTRY.finditer(path.read_text(encoding="utf-8")):
        branches = 0 if entry["what"] == "line" else int(entry["what"].split()[0])
        found[entry["source"], entry["code"].strip()] = branches
    return found


def measure(coverage):
    """Counts of all lines and branches by source, and what each line of code lacks."""
    counts, lacking = collections.defaultdict(collections.Counter), collections.Counter()
    for file in coverage["files"]:
        source = Path(file["file"])
        code = source.read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            if line["gcovr/noncode"]:
                continue
            taken = sum(branch["count"] > 0 for branch in line["branches"])
            counts[source.name].update(lines=1, run=line["count"] > 0,
                                       branches=len(line["branches"]), taken=taken)
            if line["count"] == 0 or taken < len(line["branches"]):
                key = source.name, code[line["line_number"] - 1].strip()
                lacking[key] += len(line["branches"]) - taken if line["count"] else 0
    return counts, lacking


def percent(part, whole):
    return 100 * part / whole if whole else 100.0


def table(counts):
    total = collections.Counter()
    print(f"{'source':24}{'lines':>8}{'run':>8}{'%':>8}{'branches':>10}{'taken':>8}{'%':>8}")
    for source in sorted(counts) + ["all"]:
        count = counts[source] if source in counts else total
        if source != "all":
            total.update(count)
        print(f"{source:24}{count['lines']:8}{count['run']:8}"
              f"{percent(count['run'], count['lines']):8.1f}{count['branches']:10}"
              f"{count['taken']:8}{percent(count['taken'], count['branches']):8.1f}")
    return total


def results(path):
    # After the name comes what the case was given, an address for one.
    return {case.get("name").partition("  # ")[0]: case.get("status")
            for case in ElementTree.parse(path).iter("testcase")}


def compare_results(instrumented, plain):
    """The cases that do not give in the plain build what they give in the instrumented one."""
    other = [name for name, status in instrumented.items() if plain.get(name) != status]
    for name in other:
        print(f"{name}: {instrumented[name]} instrumented, {plain.get(name, 'not there')} plain")
    passed = sum(status == "run" for status in instrumented.values())
    print(f"{len(instrumented)} cases, {passed} pass, {len(other)} differ in the plain build")
    return not other and passed == len(instrumented)


def compare_lacking(lacking, known):
    new = {key: count for key, count in lacking.items() if key not in known or known[key] < count}
    for (source, code), count in sorted(new.items()):
        print(f"{source}: {f'{count} branches' if count else 'the line'} not run:\n> {code}")
    directory = Path("src")
    gone = [key for key in known
            if key[1] not in map(str.strip, (directory / key[0]).read_text(encoding="utf-8").splitlines())]
    for source, code in gone:
        print(f"uncovered.txt names what is not in {source}:\n> {code}")
    for source, code in sorted(set(known) - set(lacking) - set(gone)):
        print(f"{source}: run this time, though uncovered.txt says otherwise:\n> {code}")
    return not new and not gone


def main():
    coverage, instrumented, plain = sys.argv[1:]
    counts, lacking = measure(json.loads(Path(coverage).read_text(encoding="utf-8")))
    total = table(counts)
    fine = [compare_results(results(instrumented), results(plain)),
            compare_lacking(lacking, read_uncovered(Path(__file__).with_name("uncovered.txt"))),
            percent(total["run"], total["lines"]) >= LINES_FLOOR,
            percent(total["taken"], total["branches"]) >= BRANCHES_FLOOR]
    return 0 if all(fine) else 1


if __name__ == "__main__":
    sys.exit(main())
