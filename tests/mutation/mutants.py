"""The mutants of a C++ source: its text with one thing changed in each.

Works on tokens. The sources are formatted, so that blanks tell a binary operator, which has one on
either side, from a pointer's star, a reference or a template's brackets.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
    (?P<blank>\s+|//[^\n]*|/\*.*?\*/)
  | (?P<directive>(?<![^\n])[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<raw>R"\(.*?\)")
  | (?P<text>"(?:[^"\\\n]|\\.)*")
  | (?P<character>'(?:[^'\\\n]|\\.)+')
  | (?P<number>\d[\w']*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><<=|>>=|\.\.\.|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|\[\[|\]\]|.)
    """,
    re.VERBOSE | re.DOTALL,
)

# What a binary operator becomes, each in its turn.
BINARY = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",),
    "&": ("|",), "|": ("&",), "^": ("&",), "<<": (">>",), ">>": ("<<",),
    "+=": ("-=",), "-=": ("+=",), "^=": ("&=",),
}
COMPARISONS = {"<", "<=", ">", ">=", "==", "!="}
STEPS = {"++": "--", "--": "++"}
TRUTHS = {"true": "false", "false": "true"}
JUMPS = {"break", "continue", "return"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    begin: int
    blank_before: bool
    blank_behind: bool

    @property
    def end(self):
        return self.begin + len(self.text)


@dataclass(frozen=True)
class Mutant:
    """A source with `text[begin:end]` replaced."""

    source: str
    text: str
    begin: int
    end: int
    replacement: str

    @property
    def line(self):
        return self.text.count("\n", 0, self.begin) + 1

    def apply(self):
        return self.text[: self.begin] + self.replacement + self.text[self.end :]

    def _line_of(self, text, length):
        first = text.rfind("\n", 0, self.begin) + 1
        return self._ahead() + joined(text[first : text.find("\n", self.begin + length)])

    def _ahead(self):
        """The line before one that is a jump alone, which says too little of where it is."""
        first = self.text.rfind("\n", 0, self.begin) + 1
        if self.replacement or self.text[first : self.begin].strip():
            return ""
        return joined(self.text[self.text.rfind("\n", 0, max(first - 1, 0)) + 1 : first]) + " "

    @property
    def before(self):
        return self._line_of(self.text, self.end - self.begin)

    @property
    def after(self):
        return self._line_of(self.apply(), len(self.replacement))


def joined(lines):
    return " ".join(line.strip() for line in lines.splitlines())


def tokens_of(text):
    pieces = [(found.lastgroup, found[0], found.start()) for found in TOKEN.finditer(text)]
    tokens = []
    for i, (kind, piece, begin) in enumerate(pieces):
        if kind in ("blank", "directive"):
            continue
        tokens.append(Token(kind, piece, begin, i > 0 and pieces[i - 1][0] == "blank",
                            i + 1 < len(pieces) and pieces[i + 1][0] == "blank"))
    return tokens


def closing(tokens, opening):
    """The index of the bracket that closes the one at the index `opening`."""
    pairs = {"(": ")", "[[": "]]"}
    bracket, depth = tokens[opening].text, 0
    for i in range(opening, len(tokens)):
        if tokens[i].text == bracket:
            depth += 1
        elif tokens[i].text == pairs[bracket]:
            depth -= 1
            if depth == 0:
                return i
    raise ValueError("a bracket that nothing closes")


def changed(character):
    return "y" if character == "x" else "x"


def texts(token):
    """A text with its first, and one with its last character changed."""
    inner = re.findall(r"\\.|.", token.text[1:-1])
    if not inner:
        return ['"x"']
    ends = {(changed(inner[0]), *inner[1:]), (*inner[:-1], changed(inner[-1]))}
    return ['"' + "".join(variant) + '"' for variant in sorted(ends)]


def numbers(token):
    """The number's neighbours; none of a fraction."""
    found = re.fullmatch(r"(0[xX]|0(?=\d))?([\dA-Fa-f]+)([uUlLzZ]*)", token.text.replace("'", ""))
    if not found:
        return []
    prefix, digits, suffix = found.groups(default="")
    base, form = {"": (10, "{}"), "0": (8, "0{:o}")}.get(prefix, (16, "0x{:X}"))
    value = int(digits, base)
    return [form.format(near) + suffix for near in (value + 1, value - 1) if near >= 0]


def conditions(tokens, opening, text):
    """Changes of the condition whose bracket opens at the index `opening`: what it asks, reversed."""
    end = closing(tokens, opening)
    inside = tokens[opening + 1 : end]
    joined = any(token.text in ("&&", "||") for token in inside)
    compared = any(token.text in COMPARISONS and token.blank_before for token in inside)
    if (compared or inside[0].text == "!") and not joined:
        return # its own operator is changed
    first, last = inside[0], inside[-1]
    declared = next((i for i, token in enumerate(inside) if token.text == "="), None)
    if declared is None:
        yield first.begin, last.end, "!(" + text[first.begin : last.end] + ")"
    elif tokens[opening - 1].text == "if":
        yield last.end, last.end, "; !" + inside[declared - 1].text


def compared_before(tokens, i):
    """Whether the condition of the `?` at the index `i` ends with a comparison."""
    while i > 0 and tokens[i].text not in ("(", ",", ";", "{", "=", "return"):
        if tokens[i].text in COMPARISONS and tokens[i].blank_before:
            return True
        i -= 1
    return False


def is_destructor(tokens, i):
    return tokens[i].text == "~" and tokens[i + 2].text == "("


def changes(tokens, text):
    """Every change of a source, as (begin, end, replacement)."""
    skip_until = 0
    for i, token in enumerate(tokens):
        if i < skip_until:
            continue
        before = tokens[i - 1].text if i > 0 else ""
        behind = tokens[i + 1].text if i + 1 < len(tokens) else ""
        spaced = token.blank_before and token.blank_behind
        if token.text == "[[" or token.text in ("static_assert", "alignas"):
            skip_until = closing(tokens, i if token.text == "[[" else i + 1) + 1
        elif token.kind == "text":
            for variant in texts(token):
                yield token.begin, token.end, variant
        elif token.kind == "character":
            yield token.begin, token.end, "'" + changed(token.text[1:-1]) + "'"
        elif token.kind == "number":
            for number in numbers(token):
                yield token.begin, token.end, number
        elif token.text in TRUTHS:
            yield token.begin, token.end, TRUTHS[token.text]
        elif token.text in JUMPS and behind == ";":
            yield token.begin, token.end, ""
        elif before == "operator":
            continue
        elif token.text in STEPS:
            yield token.begin, token.end, STEPS[token.text]
        elif token.text in ("<<", ">>") and tokens[i + 1].kind != "number":
            continue # a stream's
        elif token.text in BINARY and spaced:
            for operator in BINARY[token.text]:
                yield token.begin, token.end, operator
        elif token.text in ("!", "~", "-") and not token.blank_behind and not is_destructor(tokens, i):
            yield token.begin, token.end, ""
        elif token.text == "?" and spaced and not compared_before(tokens, i):
            yield token.begin, token.end, "== false ?"
        elif token.text in ("if", "while") and behind in ("(", "constexpr"):
            yield from conditions(tokens, i + (1 if behind == "(" else 2), text)


def mutants_of(source, text):
    return [Mutant(source, text, *change) for change in changes(tokens_of(text), text)]
