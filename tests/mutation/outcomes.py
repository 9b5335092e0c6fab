"""What became of mutants, kept so that a run goes on where one before it ended."""

import collections
import hashlib
import json
import os

from worker import KILLED, NO_PROGRAM, SURVIVED

EXPLAINED = "survives for a reason"


def digest(*parts):
    return hashlib.sha256("\0".join(parts).encode()).hexdigest()[:16]


def state_of(tree):
    """A name for the state of everything that judges mutants: all sources and tests."""
    kinds = (".h", ".hpp", ".c", ".cpp", ".in", ".txt")
    directories = ("src", "c", "include", "protocol", "inspection", "dbfile", "platform",
                   "schema", "shared", "tools", "tests")
    paths = sorted(path for directory in directories for path in (tree / directory).rglob("*")
                   if path.suffix in kinds and not path.name.startswith("survivors-"))
    return digest(*(f"{path}{path.read_text(errors='replace')}" for path in paths))


class Outcomes:
    """The outcomes in a file of one line each. One that a test noticed, or that does not compile,
    counts as long as its source is the same; that one survived, only until anything changes."""

    def __init__(self, path, state):
        self.state = state
        self.kept = {}
        path.parent.mkdir(parents=True, exist_ok=True)
        if path.exists():
            for line in path.read_text(encoding="utf-8").splitlines():
                name, *outcome = json.loads(line)
                self.kept[name] = outcome
        self.file = path.open("a", encoding="utf-8")

    def _names(self, mutant):
        name = digest(mutant.source, mutant.text, f"{mutant.begin} {mutant.end}",
                      mutant.replacement)
        return name, digest(name, self.state)

    def of(self, mutant):
        """The outcome and who noticed it, or nothing."""
        return next((self.kept[name] for name in self._names(mutant) if name in self.kept), None)

    def is_unproved(self, program):
        """Whether a program was not yet seen to pass in this state."""
        return digest(program, self.state) not in self.kept

    def prove(self, programs):
        for program in filter(self.is_unproved, programs):
            self._keep(digest(program, self.state), ["passes"])

    def keep(self, mutant, outcome):
        self._keep(self._names(mutant)[1 if outcome[0] == SURVIVED else 0], outcome)

    def _keep(self, name, outcome):
        self.kept[name] = outcome
        self.file.write(json.dumps([name, *outcome]) + "\n")
        self.file.flush()


def table(counts, left):
    """The figures by source, and how many mutants are left to try. The rate is that of the mutants
    that a test can notice."""
    lines = [f"{'source':36}{'mutants':>9}{'killed':>9}{'survived':>10}{'reason':>8}{'no program':>12}"
             f"{'left':>7}{'rate':>9}"]
    total, all_left = collections.Counter(), sum(left.values())
    for source in sorted(counts) + ["all"]:
        count = counts.get(source, total)
        total.update(count if source != "all" else {})
        tested = count[KILLED] + count[SURVIVED]
        rest = all_left if source == "all" else left[source]
        rate = f"{100 * count[KILLED] / tested:.1f} %" if tested else "-"
        lines.append(f"{source:36}{count.total() + rest:9}{count[KILLED]:9}{count[SURVIVED]:10}"
                     f"{count[EXPLAINED]:8}{count[NO_PROGRAM]:12}{rest:7}{rate:>9}")
    return "\n".join(lines) + "\n"


def write_whole(path, text):
    """Replaces a file at once, so that nobody reads half of it."""
    partial = path.with_name(path.name + ".new")
    partial.write_text(text, encoding="utf-8")
    os.replace(partial, path)
