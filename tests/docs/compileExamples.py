#!/usr/bin/env python3
"""Compiles the C++ examples of documents and public headers.

usage: compileExamples.py --prefix PREFIX --compiler COMPILER DOCUMENT...

A literal block is one of four things: a file or a session, which runDocument.py runs; a text, for
drawings and the like, which is marked by the word "text" after its backquotes or, in a manual page,
by the comment "; text" before them; a synopsis, which must declare of its classes what is public in the
headers that it includes, all of it and in the same order; or C++, which must compile without a
warning, a whole program or declarations as they are, statements as a function's body. Anything else is
an error.
"""

import argparse
import difflib
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


# What a header has to spell otherwise than its readers know it.
SPELLINGS = {"typename Detail::ChangedType<T>::Function": "std::function<void(const T& value)>"}


def words_of(text):
    """The words of declarations, without comments, line breaks and what only a compiler needs."""
    text = re.sub(r"/\*.*?\*/|//[^\n]*|^#.*?$|\bVARNIX_EXPORT\b", " ", text,
                  flags=re.DOTALL | re.MULTILINE)
    for spelling, known in SPELLINGS.items():
        text = text.replace(spelling, known)
    return re.findall(r"\w+|::|[^\w\s]", text)


def classes_of(text):
    """The text of each class that is not inside another, by name."""
    found = re.finditer(r"^(?:template <[^\n]*>\s)?class (?:\w+ )?(\w+)(?: : [^;{]*)?\s*\{.*?^\};", text,
                        flags=re.DOTALL | re.MULTILINE)
    return {match[1]: match[0] for match in found}


def end_of_block(words, begin):
    """The index after the brace that closes the one at `begin`."""
    depth = 0
    for index in range(begin, len(words)):
        depth += {"{": 1, "}": -1}.get(words[index], 0)
        if depth == 0:
            return index + 1
    raise ValueError("a brace is not closed")


def statements_of(words):
    """The statements of a class's inside; a function's without its body."""
    statement, index = [], 0
    while index < len(words):
        if words[index] == "{":
            end = end_of_block(words, index)
            if statement[0] == "enum":
                statement += words[index:end]
                index = end
                continue
            yield statement
            statement, index = [], end
        elif words[index] == ";" or (words[index] == ":" and len(statement) == 1):
            yield statement
            statement, index = [], index + 1
        else:
            statement.append(words[index])
            index += 1


def public_part(text):
    """A class's head and its public declarations, but for what it deletes, overrides and ends with."""
    words = words_of(text)
    inside = words.index("{")
    result, access = [" ".join(words[:inside])], "private"
    for statement in statements_of(words[inside + 1:-2]):
        if len(statement) == 1 and statement[0] in ("public", "protected", "private"):
            access = statement[0]
        elif access == "public" and statement and not (
                {"~", "override"} & set(statement) or statement[-2:] == ["=", "delete"]):
            initialisers = [i for i in range(1, len(statement)) if statement[i - 1:i + 1] == [")", ":"]]
            result.append(" ".join(statement[:initialisers[0]] if initialisers else statement))
    return result


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
        """How a synopsis that declares classes differs from the headers that it includes."""
        headers = re.findall(r"#include <(varnix/[\w/]+\.h)>", synopsis)
        declared = classes_of("\n".join((self.include / name).read_text(encoding="utf-8")
                                        for name in headers))
        for name, text in classes_of(synopsis).items():
            if name not in declared:
                return f"{name} is not declared in {', '.join(headers) or 'any header'}"
            said, meant = public_part(text), public_part(declared[name])
            if said != meant:
                return "\n".join([f"{name} is not declared so:", *difflib.ndiff(meant, said)])
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
                elif classes_of("\n".join(block.lines)) and document.endswith(".scd"):
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
