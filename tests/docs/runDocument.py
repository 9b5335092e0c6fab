#!/usr/bin/env python3
"""Runs the examples of a document and compares what they print.

A literal block is between lines of three backquotes; in a header, inside a comment, each line after
an asterisk. It is one of three things:

- a file, if the line before it ends with the file's name as in "`name`:" or "*name*:".
- a session, if it begins with "$ ": each such line is a command for one bash, a line "> " goes on
  with it, and the lines below are exactly what it prints. "..." stands for any text in a line, a
  line of just "..." for any lines. Lines that begin with "# " are for the administrator and run
  only with --root.
- anything else is not run here; compileExamples.py says what it may be.

The documents are run one after the other in an empty directory, as one session.
"""

import argparse
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

FENCE = "```"
PATIENCE = 600  # seconds; compilers are slow on a busy machine


@dataclass
class Command:
    where: str
    text: str
    output: list = field(default_factory=list)


@dataclass
class Block:
    document: str
    line: int
    before: str
    info: str
    lines: list


def lines_of(document):
    for line in Path(document).read_text(encoding="utf-8").splitlines():
        yield re.sub(r"^\s*\* ?", "", line) if document.endswith(".h") else line


def blocks_of(document):
    before, block, is_text = "", None, False
    for number, line in enumerate(lines_of(document), 1):
        if line.strip().startswith(FENCE):
            if block is not None:
                yield block
                before, block = "", None
            else:
                mark = "text" if is_text else line.strip()[len(FENCE):]
                block = Block(document, number, before, mark, [])
        elif block is not None:
            block.lines.append(line.replace("\\\\", "\\") if document.endswith(".scd") else line)
        elif line.strip():
            before = line.rstrip()
            # A page of scdoc marks a text by a comment, as it knows no word after the backquotes.
            is_text = document.endswith(".scd") and line.startswith("; text")
    if block is not None:
        raise SystemExit(f"{document}:{block.line}: error: the block has no end")


def file_name(block):
    found = re.search(r"[`*]([\w./-]+)[`*]:$", block.before)
    return found[1] if found else None


def is_file(block):
    return file_name(block) is not None


def is_session(block):
    return not is_file(block) and bool(block.lines) and block.lines[0].startswith(("$ ", "# "))


def commands_of(block, as_root):
    prompts = ("$ ", "# ") if as_root else ("$ ",)
    command = None
    for number, line in enumerate(block.lines, block.line + 1):
        if line.startswith(("$ ", "# ")):
            command = Command(f"{block.document}:{number}", line[2:])
            if line.startswith(prompts):
                yield command
        elif line.startswith("> ") and not command.output:
            command.text += "\n" + line[2:]
        else:
            command.output.append(line)


def steps_of(document, as_root):
    """The commands of a document; a file to be written is one too."""
    for block in blocks_of(document):
        if is_session(block):
            yield from commands_of(block, as_root)
        elif is_file(block):
            text = "\n".join(block.lines)
            yield Command(f"{document}:{block.line}",
                          f"cat >{file_name(block)} <<'END_OF_FILE'\n{text}\nEND_OF_FILE")


def matches(expected, printed):
    pattern = ""
    for line in expected:
        pattern += "(?:.*\n)*" if line == "..." else ".*".join(
            re.escape(part) for part in line.split("...")) + "\n"
    return re.fullmatch(pattern, printed) is not None


def environment(prefix, directory):
    result = dict(os.environ, VARNIX_ITC_DIR=str(directory / "mailboxes"))
    for name in ("sys_uflash_prod_db_dev_dev", "sys_uflash_prod_db_dev"):
        result.pop(name, None)
    if os.getuid() == 0:  # root's sessions are the system's; which one is current is a directory's
        result["LTTNG_HOME"] = str(directory)
    if prefix:
        result.update(PATH=f"{prefix}/bin:{os.environ['PATH']}", LD_LIBRARY_PATH=f"{prefix}/lib",
                      PKG_CONFIG_PATH=f"{prefix}/lib/pkgconfig", CMAKE_PREFIX_PATH=prefix,
                      PYTHONPATH=f"{prefix}/lib/python3/dist-packages")
    return result


def keep_a_session_daemon():
    """Starts one that nobody ends: what an example starts ends with it, while other tests use it."""
    if shutil.which("lttng-sessiond"):
        subprocess.run(["lttng-sessiond", "--daemonize", "--no-kernel"], check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def run(steps, directory, prefix):
    script = ""
    for number, step in enumerate(steps):
        (directory / f"{number}.in").write_text(step.text + "\n", encoding="utf-8")
        script += f"source '{directory}/{number}.in' >'{directory}/{number}.out' 2>&1 </dev/null\n"
    with subprocess.Popen(["bash", "-c", script], cwd=directory / "work", start_new_session=True,
                          env=environment(prefix, directory)) as shell:
        try:
            shell.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            print(f"error: the examples take more than {PATIENCE} seconds")
        try:
            os.killpg(shell.pid, signal.SIGKILL)
        except ProcessLookupError:  # nothing was left running
            pass


def printed_by(directory, number):
    out = directory / f"{number}.out"
    return out.read_text(encoding="utf-8", errors="replace") if out.exists() else None


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", action="store_true", help="run the administrator's lines too")
    parser.add_argument("--prefix", help="where Varnix is installed, if not in the system")
    parser.add_argument("--with", dest="files", action="append", default=[], metavar="FILE",
                        help="put a file into the directory first")
    parser.add_argument("--without-examples", action="store_true",
                        help="there is none to run; that there is one is an error")
    parser.add_argument("documents", nargs="+")
    options = parser.parse_args()

    steps = [step for document in options.documents for step in steps_of(document, options.root)]
    failures = 0
    if options.without_examples == bool(steps):
        failures += 1
        print("error: " + ("there are examples" if steps else "there is no example to run"))
    keep_a_session_daemon()
    with tempfile.TemporaryDirectory() as name:
        directory = Path(name)
        (directory / "work").mkdir()
        for file in options.files:
            shutil.copy(file, directory / "work")
        run(steps, directory, options.prefix)
        for number, step in enumerate(steps):
            printed = printed_by(directory, number)
            if printed is None or not matches(step.output, printed):
                failures += 1
                print(f"{step.where}: error: $ {step.text}\n--- should print\n"
                      + "\n".join(step.output) + "\n--- prints\n"
                      + ("(it did not run)" if printed is None else printed))
    print(f"{len(steps)} examples, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
