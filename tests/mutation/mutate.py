#!/usr/bin/env python3
"""Changes the code in one place at a time and asks the tests whether they notice.

See script/mutate for what it takes and leaves.
"""

import argparse
import collections
import concurrent.futures
import fcntl
import queue
import signal
import subprocess
import sys
from pathlib import Path

from mutants import mutants_of
from outcomes import EXPLAINED, Outcomes, state_of, table, write_whole
from rooms import programs_of, sources_of
from survivors import described, key, read_survivors, stale
from switchboard import Switchboard
from worker import SURVIVED, Worker


def arguments_of():
    parser = argparse.ArgumentParser(prog="script/mutate")
    parser.add_argument("--share", type=int, default=1, metavar="N", help="every Nth mutant")
    parser.add_argument("--since", metavar="COMMIT", help="only sources changed since the commit")
    parser.add_argument("--jobs", "-j", type=int, default=1, metavar="N",
                        help="mutants at a time")
    parser.add_argument("names", nargs="*", metavar="ROOM|SOURCE")
    return parser.parse_args()


def chosen_sources(tree, arguments):
    try:
        sources = sources_of(tree, arguments.names)
    except ValueError as error:
        sys.exit(str(error))
    if arguments.since:
        changed = subprocess.run(["git", "diff", "--name-only", arguments.since], cwd=tree,
                                 text=True, check=True, stdout=subprocess.PIPE).stdout.splitlines()
        sources = [source for source in sources if source in changed]
    return sources


class Run:
    """The mutants of a run, their outcomes so far, and its results file."""

    def __init__(self, tree, directory, mutants, sources):
        self.mutants = mutants
        self.sources = sources
        self.known = read_survivors()
        self.results = directory / "results.txt"
        self.outcomes = Outcomes(directory / "outcomes.jsonl", state_of(tree))

    def left(self):
        return [mutant for mutant in self.mutants if not self.outcomes.of(mutant)]

    def unknown(self):
        """The survivors that have no reason."""
        return [mutant for mutant in self.mutants if key(mutant) not in self.known
                and (self.outcomes.of(mutant) or [""])[0] == SURVIVED]

    def report(self, stale_entries):
        counts = {source: collections.Counter() for source in self.sources}
        left = collections.Counter()
        for mutant in self.mutants:
            if outcome := self.outcomes.of(mutant):
                is_explained = outcome[0] == SURVIVED and key(mutant) in self.known
                counts[mutant.source][EXPLAINED if is_explained else outcome[0]] += 1
            else:
                left[mutant.source] += 1
        text = table(counts, left)
        for mutant in self.unknown():
            text += f"\nsurvives, line {mutant.line}:\n{described(*key(mutant))}"
        for entry in stale_entries:
            text += f"\nlisted as a survivor, but no mutant:\n{entry}"
        write_whole(self.results, text)
        return text


def try_each(mutants, run, jobs, outcome, report):
    """Asks for the outcome of each of the mutants, so many at a time; reports after each one."""
    pool = concurrent.futures.ThreadPoolExecutor(jobs)
    try:
        waited_for = {pool.submit(outcome, mutant, key(mutant) in run.known): mutant
                      for mutant in mutants}
        for done in concurrent.futures.as_completed(waited_for):
            mutant, result = waited_for[done], done.result()
            run.outcomes.keep(mutant, result)
            if result[0] == SURVIVED and key(mutant) not in run.known:
                print(f"survives, line {mutant.line}:\n{described(*key(mutant))}", flush=True)
            report()
    finally: # an interrupted run ends what it has begun and no more
        pool.shutdown(cancel_futures=True)


def try_all(run, tree, directory, jobs, report):
    """Tries the mutants that are left: most of them in one build, the others each in its own."""
    if not run.left():
        return
    board = Switchboard(tree, directory / "switched", run.left())
    board.prepare(jobs)
    try_each([mutant for mutant in run.left() if board.is_reached(mutant)], run, jobs,
             board.outcome, report)

    left = run.left()
    workers = queue.SimpleQueue()
    for i in range(min(jobs, len(left))):
        worker = Worker(tree, directory / f"worker{i}")
        programs = {name for mutant in left for name in programs_of(mutant.source)}
        worker.prepare(sorted(filter(run.outcomes.is_unproved, programs)))
        run.outcomes.prove(programs)
        workers.put(worker)

    def outcome(mutant, expected):
        worker = workers.get()
        try:
            return worker.outcome(mutant, expected)
        finally:
            workers.put(worker)

    try_each(left, run, jobs, outcome, report)


def only_run(directory):
    """Holds the builds for this run; ends where another run has them."""
    directory.mkdir(parents=True, exist_ok=True)
    lock = (directory / "lock").open("w", encoding="utf-8")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit("another run of script/mutate is under way")
    return lock


def tried(arguments, tree, directory, sources):
    """Tries the mutants; returns the run's exit status."""
    mutants = [mutant for source in sources
               for mutant in mutants_of(source, (tree / source).read_text(encoding="utf-8"))]
    run = Run(tree, directory, mutants[::arguments.share], sources)
    listed = {entry for entry in run.known
              if entry[0] in sources or not (tree / entry[0]).exists()}
    stale_entries = list(stale(listed, mutants))
    try_all(run, tree, directory, arguments.jobs, lambda: run.report(stale_entries))
    print(run.report(stale_entries), end="")
    return 1 if stale_entries or run.unknown() else 0


def main():
    arguments = arguments_of()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    tree = Path(__file__).resolve().parents[2]
    directory = tree / "build" / "mutation"
    sources = chosen_sources(tree, arguments)
    with only_run(directory):
        return tried(arguments, tree, directory, sources)


if __name__ == "__main__":
    sys.exit(main())
