"""A copy of the tree with a build of its own, in which one mutant at a time is built and tested."""

import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from collections import Counter, defaultdict
from pathlib import Path

from rooms import NOT_ASKED, programs_of

KILLED, SURVIVED, NO_PROGRAM = "killed", "survived", "does not compile"

# A test program hangs that rests for so long, computes for so long, or just takes so long.
IDLE_SECONDS = 30
LIMITS = {resource.RLIMIT_CPU: 60, resource.RLIMIT_AS: 12 << 30, resource.RLIMIT_CORE: 0}
SECONDS = 300

# As fast to build as can be: nobody looks at the programs themselves. The standard library's
# containers check their indices, so that a mutant that goes past an end is noticed.
OPTIONS = (
    "-GNinja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_C_FLAGS_DEBUG=-O0 -w",
    "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w -D_GLIBCXX_ASSERTIONS",
    "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold", "-DVARNIX_BUILD_BENCHMARKS=OFF",
    "-DVARNIX_MAPPED_clang++=OFF", # a dozen programs that one test runs: half of them do
    "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
    f"-DCMAKE_PROJECT_varnix_INCLUDE={Path(__file__).resolve().with_name('precompiled.cmake')}",
)

FAILED = re.compile(r"^\[  FAILED  \] ([^\s,]+)", re.MULTILINE)
RUNS = re.compile(r"^\[ RUN      \] (\S+)$", re.MULTILINE)


def copy_tree(origin, copy):
    """Makes the copy as the origin is; what is the same keeps its time and is not built again."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=origin, check=True, capture_output=True, text=True).stdout
    wanted = {name for name in listed.split("\0") if name and (origin / name).is_file()}
    for name in wanted:
        own = copy / name
        if not own.is_file() or own.read_bytes() != (origin / name).read_bytes():
            own.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(origin / name, own)
            shutil.copymode(origin / name, own)
    for path in list(copy.rglob("*")):
        if path.is_file() and str(path.relative_to(copy)) not in wanted:
            path.unlink()


class Worker:
    """Builds and tests mutants, one at a time."""

    def __init__(self, origin, directory):
        self.tree = directory / "tree"
        self.build = directory / "build"
        self.noticed = defaultdict(Counter) # by source: how often each (program, test) noticed one
        self.tree.mkdir(parents=True, exist_ok=True)
        copy_tree(origin, self.tree)
        if not (self.build / "build.ninja").exists():
            subprocess.run(["cmake", "-S", self.tree, "-B", self.build, *OPTIONS], check=True,
                           stdout=subprocess.DEVNULL)

    def prepare(self, programs):
        """Builds the programs; ends the run where one of them fails without any change."""
        for program in programs:
            if not self._builds(program):
                sys.exit(f"{program} does not build without any change")
            if failed := self._failing(program):
                sys.exit(f"{program} fails without any change: {failed}")

    def outcome(self, mutant, expected):
        """What becomes of a mutant, and which test noticed it; one that is expected to survive is
        shown to the first program only."""
        source = self.tree / mutant.source
        source.write_text(mutant.apply(), encoding="utf-8")
        try:
            return self._outcome(mutant.source, expected)
        finally:
            source.write_text(mutant.text, encoding="utf-8")

    def _outcome(self, source, expected):
        noticed = self.noticed[source]
        programs = sorted(programs_of(source), key=lambda name: -sum(
            count for (program, _), count in noticed.items() if program == name))
        for program in programs[:1] if expected else programs:
            if not self._builds(program):
                return NO_PROGRAM, ""
            first = [test for (name, test), _ in noticed.most_common() if name == program]
            failed = (first and self._failing(program, first)) or self._failing(program)
            if failed:
                noticed[program, failed] += 1
                return KILLED, f"{program}: {failed}"
        return SURVIVED, ""

    def _builds(self, program):
        return subprocess.run(["ninja", f"bin/{program}"], cwd=self.build, capture_output=True,
                              check=False).returncode == 0

    def _failing(self, program, tests=()):
        """The first of the tests, or of all that are asked, that fails or hangs; or nothing."""
        names = ":".join(tests) if tests else "-" + ":".join(NOT_ASKED)
        with open(self.build / "output.txt", "w+", encoding="utf-8", errors="replace") as output:
            passes = run([self.build / "bin" / program, "--gtest_fail_fast",
                          f"--gtest_filter={names}"], output)
            return "" if passes else first_failure(output)


def first_failure(output):
    """The test that failed, or that did not end."""
    output.seek(0)
    text = output.read()
    return (FAILED.findall(text) or RUNS.findall(text)[-1:] or ["*"])[0]


def processor_time(pid):
    fields = Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
    return sum(int(field) for field in fields[11:15]) # its own and its children's


def ends(process, seconds):
    """Waits for a process; returns whether it ends by itself in that time."""
    begin = moved = time.monotonic()
    spent = 0
    while process.poll() is None:
        now = time.monotonic()
        if processor_time(process.pid) != spent:
            spent, moved = processor_time(process.pid), now
        if now - moved > IDLE_SECONDS or now - begin > seconds:
            return False
        try:
            process.wait(1)
        except subprocess.TimeoutExpired:
            pass
    return True


def run(command, output, environment=None, seconds=SECONDS):
    """Whether a test program passes; ends whatever it leaves behind."""
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                          env=environment, start_new_session=True) as process:
        for what, most in LIMITS.items():
            resource.prlimit(process.pid, what, (most, most))
        passes = ends(process, seconds) and process.returncode == 0
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        return passes
