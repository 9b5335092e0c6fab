#!/usr/bin/env python3
"""Compiles the C++ examples of documents and public headers.

usage: compileExamples.py --prefix PREFIX --compiler COMPILER DOCUMENT...

A literal block is one of four things: a file or a session, which runDocument.py runs; a text, for
drawings and the like, which is marked by the word "text" after its backquotes or, in a manual page,
by the comment "; text" before them; a synopsis, whose declarations must stand in the headers that it
includes; or C++, which must compile without a warning, a whole program or declarations as they are,
statements as a function's body. Anything else is an error.
"""

import argparse
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from runDocument import blocks_of, is_file, is_session

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
# What statements in the pages take for granted.
BODY = """#include <cstdlib>
#include <iostream>
#include <varnix/dbRegistryIf.h>
template <typename... T> void use(const T&...) {}
int body(const char* path);
int body(const char* path)
{
    use(path);
"""


def declarations(text):
    """The words of declarations, without comments, line breaks and what only a compiler needs."""
    text = re.sub(r"/\*.*?\*/|//[^\n]*|^#.*?$|\bVARNIX_EXPORT\b", " ", text,
                  flags=re.DOTALL | re.MULTILINE)
    return " ".join(re.findall(r"\w+|[^\w\s]", text))


def class_of(text):
    found = re.search(r"^class\b.*?^\};", text, flags=re.DOTALL | re.MULTILINE)
    return found[0] if found else None


class Examples:
    def __init__(self, prefix, compiler, directory):
        self.include = Path(prefix) / "include"
        self.compiler = compiler
        self.source = Path(directory) / "example.cpp"

    def compiles(self, text, standard):
        self.source.write_text(text, encoding="utf-8")
        return subprocess.run(
            [self.compiler, f"-std={standard}", *WARNINGS, "-fsyntax-only",
             f"-I{self.include}", str(self.source)],
            check=False, capture_output=True, text=True)

    def complaint(self, lines):
        """What the compiler says against an example; nothing where it compiles."""
        text = "\n".join(lines) + "\n"
        standard = "c++17" if "<varnix/kit/" in text else "c++11"
        whole = self.compiles(text, standard)
        if whole.returncode == 0:
            return ""
        includes = "".join(line + "\n" for line in lines if line.startswith("#include"))
        rest = "".join(line + "\n" for line in lines if not line.startswith("#include"))
        headed = self.compiles(includes + BODY.partition("template")[0] + rest, standard)
        body = self.compiles(includes + BODY + rest + "return 0;\n}\n", standard)
        if 0 in (headed.returncode, body.returncode):
            return ""
        return (body if "main(" not in text else whole).stderr

    def differs(self, synopsis):
        """How a synopsis that declares a class differs from the header that it includes."""
        headers = re.findall(r"#include <(varnix/[\w/]+\.h)>", synopsis)
        text = "".join((self.include / name).read_text(encoding="utf-8") for name in headers)
        declared = declarations(text)
        for statement in re.split(r"[;{}]", class_of(synopsis)):
            words = re.sub(r"^(public|protected|private) : ", "", declarations(statement))
            if words and words not in declared:
                return f"not declared so in {', '.join(headers) or 'any header'}: {words}"
        return ""


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--prefix", required=True, help="where Varnix is installed")
    parser.add_argument("--compiler", required=True)
    parser.add_argument("documents", nargs="+")
    options = parser.parse_args()

    checked, failures = 0, 0
    with tempfile.TemporaryDirectory() as directory:
        examples = Examples(options.prefix, options.compiler, directory)
        for document in options.documents:
            for block in blocks_of(document):
                if is_file(block) or is_session(block) or block.info == "text":
                    continue
                checked += 1
                if not document.endswith((".h", ".scd")) and block.info != "cpp":
                    said = 'neither a file, a session, marked "cpp" nor "text"'
                elif class_of("\n".join(block.lines)) and document.endswith(".scd"):
                    said = examples.differs("\n".join(block.lines))
                else:
                    said = examples.complaint(block.lines)
                if said:
                    failures += 1
                    print(f"{document}:{block.line}: error: {said}")
    print(f"{checked} examples, {failures} failed")
    return 1 if failures or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
