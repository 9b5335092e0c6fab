"""A build in which all mutants are asleep at once, and the tests that wake one at a time.

A test is run once to learn which mutants it comes to; a mutant is shown to these tests only.
"""

import os
import queue
import re
import subprocess
import sys
import tempfile
import threading
import time
from collections import Counter, defaultdict
from fnmatch import fnmatch
from pathlib import Path

from rooms import NOT_ASKED, programs_of
from switching import Switched
from worker import KILLED, OPTIONS, SURVIVED, copy_tree, first_failure, run

MOST_ROUNDS = 20 # of builds, each without the mutants that the compiler refused before
FIRST_TESTS = 6 # the most promising ones are asked before all others
LEAST_SECONDS, TIMES_SLOWER = 20, 10 # what tests are given beyond what they took
COMPLAINT = re.compile(r"^(\S+?):(\d+):(\d+): +((?:fatal )?error|note|required)", re.MULTILINE)


def test_names(program):
    """The tests of a program that are asked."""
    listed = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True,
                            text=True).stdout
    suite, names = "", []
    for line in listed.split("\n"): # a name may show other ends of lines
        name = line.split("#")[0].rstrip()
        if not line.startswith(" "):
            suite = name
        elif suite.endswith("."):
            names.append(suite + name.strip())
    return [name for name in names if not any(fnmatch(name, left_out) for left_out in NOT_ASKED)]


class Switchboard:
    """Builds the programs with the mutants of some sources, and tries these."""

    def __init__(self, tree, directory, mutants):
        self.tree, self.copy, self.build = tree, directory / "tree", directory / "build"
        self.numbers = {mutant: number for number, mutant in enumerate(mutants, 1)}
        self.mutants = dict(enumerate(mutants, 1))
        self.refused = set()
        self.seconds = {} # that a test takes
        self.tests = defaultdict(list) # that come to a mutant, by its number
        self.noticed = defaultdict(Counter) # by source: how often each test noticed one
        self.copy.mkdir(parents=True, exist_ok=True)
        copy_tree(tree, self.copy)

    def prepare(self, jobs):
        """Builds everything and runs every test; ends the run where one fails without a mutant."""
        programs = sorted({name for mutant in self.numbers for name in programs_of(mutant.source)})
        self._build(programs)
        tests = queue.SimpleQueue()
        for program in programs:
            for name in test_names(self.build / "bin" / program):
                tests.put((program, name))
        failed = []
        threads = [threading.Thread(target=self._learn, args=(tests, failed)) for _ in range(jobs)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if failed:
            sys.exit(f"fails without any change: {failed}")

    def is_reached(self, mutant):
        return bool(self.tests.get(self.numbers[mutant]))

    def outcome(self, mutant, expected):
        """What becomes of a mutant that tests come to, and which of them noticed it; one that is
        expected to survive is shown to the first ones only."""
        number = self.numbers[mutant]
        noticed = self.noticed[mutant.source]
        tests = sorted(self.tests[number], key=lambda test: (-noticed[test], self.seconds[test]))
        for some in (tests[:FIRST_TESTS], [] if expected else tests[FIRST_TESTS:]):
            for program in programs_of(mutant.source):
                names = [name for of, name in some if of == program]
                if names and (failed := self._failing(number, program, names)):
                    noticed[program, failed] += 1
                    return KILLED, f"{program}: {failed}"
        return SURVIVED, ""

    def _failing(self, number, program, names):
        with open(self.build / f"output-{number}.txt", "w+", encoding="utf-8",
                  errors="replace") as output:
            os.unlink(output.name)
            seconds = LEAST_SECONDS + TIMES_SLOWER * sum(self.seconds[program, name]
                                                         for name in names)
            if run([self.build / "bin" / program, "--gtest_fail_fast",
                    f"--gtest_filter={':'.join(names)}"], output,
                   os.environ | {"VARNIX_MUTANT": str(number)}, seconds):
                return ""
            return first_failure(output)

    def _learn(self, tests, failed):
        """Runs tests, each alone, until none is left."""
        with tempfile.NamedTemporaryFile() as seen, tempfile.TemporaryFile() as output:
            while True:
                try:
                    program, name = tests.get_nowait()
                except queue.Empty:
                    return
                Path(seen.name).write_bytes(bytes(len(self.mutants) + 1))
                begin = time.monotonic()
                if not run([self.build / "bin" / program, f"--gtest_filter={name}"], output,
                           os.environ | {"VARNIX_MUTANTS_SEEN": seen.name}):
                    failed.append(f"{program}: {name}")
                self.seconds[program, name] = time.monotonic() - begin
                for number, is_seen in enumerate(Path(seen.name).read_bytes()):
                    if is_seen and program in programs_of(self.mutants[number].source):
                        self.tests[number].append((program, name))

    def _build(self, programs):
        header = Path(__file__).resolve().with_name("mutated.h")
        if not (self.build / "build.ninja").exists():
            options = [option.replace("-O0 -w", f"-O0 -w -include {header}")
                       if option.startswith("-DCMAKE_CXX_FLAGS") else option for option in OPTIONS]
            subprocess.run(["cmake", "-S", self.copy, "-B", self.build, *options], check=True,
                           stdout=subprocess.DEVNULL)
        for _ in range(MOST_ROUNDS):
            sources = self._write()
            built = subprocess.run(["ninja", "-k0", *(f"bin/{name}" for name in programs)],
                                   cwd=self.build, check=False, capture_output=True, text=True)
            if built.returncode == 0:
                return
            refused = self._refused(built.stdout, sources)
            if not refused:
                sys.exit(f"does not build with its mutants asleep:\n{built.stdout[-4000:]}")
            self.refused |= refused
        sys.exit("the compiler refuses some mutants again and again")

    def _write(self):
        """Writes the sources with the mutants that are left; returns them by path."""
        texts, by_source = {}, defaultdict(list)
        for mutant, number in self.numbers.items():
            texts[mutant.source] = mutant.text
            if number not in self.refused:
                by_source[mutant.source].append((number, mutant))
        sources = {}
        for name, text in texts.items(): # also those that have no mutant left
            sources[name] = source = Switched(text, by_source[name])
            self.refused.update(number for number, _ in source.refused)
            if (self.copy / name).read_text(encoding="utf-8") != str(source):
                (self.copy / name).write_text(str(source), encoding="utf-8")
        return sources

    def _refused(self, complaints, sources):
        """The numbers of the mutants that a compiler's errors are about."""
        errors, called_from = [], []
        for path, line, column, kind in COMPLAINT.findall(complaints):
            name = os.path.relpath(os.path.join(self.build, path), self.copy)
            place = (name, int(line), int(column)) if name in sources else None
            if kind == "required":
                called_from.append(place)
            elif kind == "note":
                if errors:
                    errors[-1].append(place)
            else:
                errors.append([place, *called_from])
                called_from = []
        refused = set()
        for places in errors:
            if place := next(filter(None, places), None):
                refused |= sources[place[0]].blamed(*place[1:])
        return refused
