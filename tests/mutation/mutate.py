#!/usr/bin/env python3
"""Changes the library in one place at a time and asks the unit tests whether they notice.

usage: mutate.py --build DIRECTORY [--share N] [--report FILE] [SOURCE...]

Takes every Nth mutant of the named sources of src/, of all without names. DIRECTORY holds the tests'
build of the tree that `script/mutate` copied there; each worker compiles its mutants from a copy of
its own of src/. The status is 1 where a mutant survives that survivors.txt does not name, or where
survivors.txt names one that there is not.
"""

import argparse
import collections
import concurrent.futures
import json
import os
import queue
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

from mutants import mutants_of

# The tests that know a source best, by program; whatever they miss, all the others are asked.
INTERFACE, REGISTRY = "interface_test", "registry_test"
SELECTION, UNIT = "selection_test", "unit_test"
NEAREST = {
    "checksum": (UNIT, "checksumTest"),
    "configFile": (UNIT, "configFileTest"),
    "database": (INTERFACE, "handleTest", "readTest"),
    "databaseImpl": (UNIT, "databaseImplReadTest", "databaseImplUpdateTest", "typeOfDataTest"),
    "dbContainer": (UNIT, "dbIteratorTest", "softwareLoaderTest", "productionLoaderTest"),
    "dbRegistry": (INTERFACE, "handleTest", "readTest"),
    "dbRegistryImpl": (REGISTRY, "registryTest", "bulkUpdateTest"),
    "dbUtils": (UNIT, "softwareLoaderTest", "configFileTest"),
    "elements": (UNIT, "databaseImplReadTest"),
    "fileDescriptor": (UNIT, "productionLoaderTest"),
    "itcMessage": (REGISTRY, "itcCommunicationTest"),
    "itc_communication": (REGISTRY, "itcCommunicationTest"),
    "keyTable": (UNIT, "keyTableTest"),
    "readMostlyLock": (UNIT, "readMostlyLockTest"),
    "selection": (SELECTION, "selectionTest"),
    "textValues": (REGISTRY, "textValuesTest"),
    "tokenize": (UNIT, "databaseImplReadTest"),
    "trace": (UNIT, "traceEventsTest"),
    "typeOfData": (UNIT, "typeOfDataTest"),
    "writeIndication": (REGISTRY, "writeIndicationTest"),
}
# They test what the tests stand on.
NOT_ASKED = "-TracedProcess.*:TraceSession.*"

# A test program hangs that rests for so long, computes for so long, or just takes so long.
IDLE_SECONDS = 30
PROCESSOR_SECONDS = 30
SECONDS = 300
ADDRESS_SPACE = 12 << 30

KILLED, SURVIVED, NO_PROGRAM = "killed", "survived", "does not compile"


def output_of(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


class Build:
    """The build of the tests, and how each part of it is made."""

    def __init__(self, directory):
        self.directory = directory / "build"
        self.tree = directory / "tree"
        self.commands = {}
        for entry in json.loads((self.directory / "compile_commands.json").read_text()):
            command = shlex.split(entry["command"])
            self.commands[command[command.index("-o") + 1]] = command
        self.dependencies = self._dependencies()
        self.links = {name: self._link(name) for name in (UNIT, REGISTRY, SELECTION, INTERFACE)}

    def _dependencies(self):
        """The sources that an object is made from, by object."""
        found, target = collections.defaultdict(set), ""
        for line in output_of("ninja", "-t", "deps", cwd=self.directory).splitlines():
            if line.startswith(" "):
                found[target].add(line.strip())
            else:
                target = line.partition(":")[0]
        return found

    def _link(self, program):
        """The command that links a program, which then holds the library's objects itself."""
        last = output_of("ninja", "-t", "commands", program, cwd=self.directory).splitlines()[-1]
        command = shlex.split(last.split("&&")[1])
        library = next((i for i, word in enumerate(command) if "/libvarnix.so" in word), None)
        if library is not None:
            command[library:library + 1] = [word for word in self._link(UNIT)[1:]
                                            if word.startswith("src/") or ".so" in word]
        return command

    def objects(self, program):
        return [word for word in self.links[program] if word.endswith(".o")]

    def nearest(self, source):
        """A program and those of its objects that are linked for the source's nearest tests."""
        program, *tests = NEAREST[Path(source).stem]
        wanted = tuple(f"/{test}.cpp.o" for test in tests)
        return program, [made for made in self.objects(program)
                         if made.startswith("src/") or made.endswith(wanted)
                         or not made.endswith("Test.cpp.o")]

    def depending(self, objects, source):
        path = str(self.tree / "src" / source)
        return [made for made in objects if path in self.dependencies[made]]


class Worker:
    """Compiles and runs mutants, one at a time, in a directory of its own."""

    def __init__(self, build, directory):
        self.build = build
        self.directory = directory
        shutil.rmtree(directory, ignore_errors=True)
        shutil.copytree(build.tree / "src", directory / "src")

    def outcome(self, mutant, expected):
        """What becomes of a mutant; one that is expected to survive is not asked about for long."""
        source = self.directory / "src" / mutant.source
        source.write_text(mutant.apply())
        try:
            return self._outcome(mutant.source, expected)
        finally:
            source.write_text(mutant.text)
            shutil.rmtree(self.directory / "objects", ignore_errors=True)

    def _outcome(self, source, expected):
        program, objects = self.build.nearest(source)
        if not self._compile(objects, source):
            return NO_PROGRAM
        if not self._passes(program, objects):
            return KILLED
        for name in () if expected else self.build.links:
            objects = self.build.objects(name)
            if not self._compile(objects, source) or not self._passes(name, objects):
                return KILLED
        return SURVIVED

    def _compile(self, objects, source):
        for made in self.build.depending(objects, source):
            own = self.directory / "objects" / made
            if own.exists():
                continue
            own.parent.mkdir(parents=True, exist_ok=True)
            command = [word.replace(str(self.build.tree / "src"), str(self.directory / "src"))
                       for word in self.build.commands[made]]
            command[command.index("-o") + 1] = str(own)
            if subprocess.run(command, cwd=self.build.directory, capture_output=True,
                              check=False).returncode != 0:
                return False
        return True

    def _passes(self, program, objects):
        """Links the objects, the mutant's own where there are, as the program and runs it."""
        own = self.directory / program
        command = []
        for word in self.build.links[program]:
            if not word.endswith(".o"):
                command.append(word)
            elif word in objects:
                mutated = self.directory / "objects" / word
                command.append(str(mutated) if mutated.exists() else word)
        command[command.index("-o") + 1] = str(own)
        if subprocess.run(command, cwd=self.build.directory, capture_output=True,
                          check=False).returncode != 0:
            return False
        return run_tests(own)


LIMITS = {
    resource.RLIMIT_CPU: PROCESSOR_SECONDS,
    resource.RLIMIT_AS: ADDRESS_SPACE,
    resource.RLIMIT_CORE: 0,
}


def processor_time(pid):
    fields = Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
    return int(fields[11]) + int(fields[12])


def finished(process):
    """Waits for a process; answers whether it ends by itself."""
    begin = moved = time.monotonic()
    spent = 0
    while process.poll() is None:
        now = time.monotonic()
        if processor_time(process.pid) != spent:
            spent, moved = processor_time(process.pid), now
        if now - moved > IDLE_SECONDS or now - begin > SECONDS:
            return False
        try:
            process.wait(1)
        except subprocess.TimeoutExpired:
            pass
    return True


def run_tests(program):
    """Whether every test of the program passes."""
    with subprocess.Popen([program, "--gtest_brief=1", "--gtest_fail_fast",
                           f"--gtest_filter={NOT_ASKED}"], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          start_new_session=True) as process:
        for what, most in LIMITS.items():
            resource.prlimit(process.pid, what, (most, most))
        passes = finished(process) and process.returncode == 0
        try: # whatever it left behind
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        return passes


ENTRY = re.compile(r"^(?P<source>\S+)\n-(?P<before>.*)\n\+(?P<after>.*)\n(?P<reason>(?:  .*\n)+)",
                   re.MULTILINE)


def read_survivors(path):
    """The reasons of the survivors that are known, by what was changed."""
    text = path.read_text(encoding="utf-8") if path.exists() else ""
    return {(entry["source"], entry["before"].strip(), entry["after"].strip()): entry["reason"]
            for entry in ENTRY.finditer(text)}


def described(mutant):
    return f"{mutant.source}\n- {mutant.before}\n+ {mutant.after}\n"


def key(mutant):
    return mutant.source, mutant.before, mutant.after


def table(outcomes):
    lines = [f"{'source':24}{'mutants':>9}{'killed':>9}{'survived':>10}{'no program':>12}"]
    total = collections.Counter()
    for source in sorted(outcomes) + ["all"]:
        count = outcomes.get(source, total)
        total.update(count if source != "all" else {})
        lines.append(f"{source:24}{count.total():9}{count[KILLED]:9}{count[SURVIVED]:10}"
                     f"{count[NO_PROGRAM]:12}")
    tested = total[KILLED] + total[SURVIVED]
    lines.append(f"killed of those that compile: {100 * total[KILLED] / max(1, tested):.1f} %")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", type=Path, required=True)
    parser.add_argument("--share", type=int, default=1)
    parser.add_argument("--report", type=Path)
    parser.add_argument("sources", nargs="*")
    arguments = parser.parse_args()

    directory = arguments.build.resolve()
    build = Build(directory)
    sources = sorted(path for path in (build.tree / "src").iterdir()
                     if path.suffix in (".h", ".cpp"))
    all_mutants = [mutant for path in sources
                   for mutant in mutants_of(path.name, path.read_text(encoding="utf-8"))]
    chosen = [mutant for mutant in all_mutants
              if not arguments.sources or mutant.source in arguments.sources][::arguments.share]
    known = read_survivors(Path(__file__).with_name("survivors.txt"))

    for program in build.links:
        if not run_tests(build.directory / "bin" / program):
            sys.exit(f"{program} fails without any change")

    count = (os.cpu_count() or 1) + 1 # while a mutant hangs, its worker rests
    workers = queue.SimpleQueue()
    for i in range(count):
        workers.put(Worker(build, directory / f"worker{i}"))

    def outcome(mutant):
        worker = workers.get()
        try:
            return worker.outcome(mutant, key(mutant) in known)
        finally:
            workers.put(worker)

    began = time.monotonic()
    outcomes = collections.defaultdict(collections.Counter)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(count) as pool:
        for done, (mutant, result) in enumerate(zip(chosen, pool.map(outcome, chosen)), 1):
            outcomes[mutant.source][result] += 1
            if result == SURVIVED and key(mutant) not in known:
                failed += 1
                print(f"survives:\n{described(mutant)}", flush=True)
            if done % 50 == 0:
                print(f"{done} of {len(chosen)}, {time.monotonic() - began:.0f} s",
                      file=sys.stderr, flush=True)

    existing = {key(mutant) for mutant in all_mutants}
    for entry in sorted(set(known) - existing):
        failed += 1
        print("survivors.txt names what is no mutant: {}\n- {}\n+ {}\n".format(*entry))
    report = table(outcomes)
    print(report, end="")
    if arguments.report:
        arguments.report.write_text(report, encoding="utf-8")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
