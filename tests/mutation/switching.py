"""Sources in which every mutant is there at once, each asleep until its number is called.

A mutant changes a token. What it changes is compiled twice, `(mutated(7) ? (a - b) : (a + b))`, over
the smallest part of the source that is an expression or a statement by itself. Lines keep their
numbers, so that a compiler's complaint leads back to the mutants that it will not have.
"""

from dataclasses import dataclass, field

from mutants import JUMPS, Token, tokens_of

BOUNDARIES = {",", ";", "?", ":", "(", "[", "{", "[[", "]]"}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
STATEMENT_WORDS = {"return", "throw", "else", "do", "case", "new", "delete", "const", "auto",
                   "typename", "using", "co_return", "co_yield", "goto"}
OPERANDS = {"word", "number", "text", "character", "raw"}
UNARY = {"!", "~", "*", "&", "-", "+", "++", "--"}
OPENING, CLOSING = {"(", "[", "{", "[["}, {")", "]", "}", "]]"}


@dataclass
class Region:
    """A part of a source, with the mutants that replace something in it."""

    begin: int
    end: int
    form: str
    mutants: list = field(default_factory=list)
    inner: list = field(default_factory=list)


def split_angles(tokens):
    """The tokens, with the end of two templates as two of them."""
    for token in tokens:
        if token.text == ">>" and not token.blank_before:
            yield Token(token.kind, ">", token.begin, False, False)
            yield Token(token.kind, ">", token.begin + 1, False, token.blank_behind)
        else:
            yield token


class Source:
    """Finds what a change belongs to."""

    def __init__(self, text):
        self.text = text
        self.tokens = list(split_angles(tokens_of(text)))
        self.at = {token.begin: i for i, token in enumerate(self.tokens)}
        self.pair = self._pairs()

    def _pairs(self):
        """The indices of brackets, those of templates too, each with that of its other one."""
        pairs, opened, angles = {}, [], [[]]
        for i, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text in OPENING:
                opened.append(i)
                angles.append([])
            elif token.text in CLOSING:
                angles.pop()
                pairs[i] = opened.pop()
                pairs[pairs[i]] = i
            elif token.text == "<" and not token.blank_before and not token.blank_behind:
                angles[-1].append(i)
            elif token.text == ">" and not token.blank_before and angles[-1]:
                pairs[i] = angles[-1].pop()
                pairs[pairs[i]] = i
        return pairs

    def left(self, i):
        """The index of the first token of the expression around the one at the index."""
        while i > 0:
            before, token = self.tokens[i - 1], self.tokens[i]
            starts = token.kind in OPERANDS or (token.text in UNARY and token.blank_before
                                                and not token.blank_behind)
            if before.text == "sizeof":
                i -= 1
            elif (before.text in BOUNDARIES or before.text in ASSIGNMENTS
                  or before.text in STATEMENT_WORDS
                  or before.text == "<" and i - 1 in self.pair
                  or before.text == "}" and token.text not in (".", "->")
                  or starts and (before.kind == "word" or before.text in (")", "]"))):
                return i
            else:
                i = self.pair.get(i - 1, i - 1) # past what is between brackets
        return i

    def right(self, i):
        """The index behind the last token of the expression around the one at the index."""
        while i < len(self.tokens):
            token = self.tokens[i]
            if token.text in ("(", "[", "{", "<") and i in self.pair and token.kind == "sign":
                i = self.pair[i] + 1
            elif token.kind == "sign" and (token.text in (",", ";", "?", ":", ")", "]", "}")
                                           or token.text == ">" and i in self.pair):
                return i
            else:
                i += 1
        return i

    def region_of(self, mutant):
        """Where to switch the mutant, or nothing where that is not known."""
        if mutant.replacement.startswith("; !"):
            return Region(mutant.begin, mutant.end, "declared")
        if mutant.replacement.startswith("!("):
            return Region(mutant.begin, mutant.end, "condition")
        i = self.at.get(mutant.begin)
        if i is None:
            return None
        token = self.tokens[i]
        if token.text in JUMPS:
            return Region(token.begin, self.tokens[i + 1].end, "jump")
        if token.text == "?":
            return Region(self.tokens[self.left(i)].begin, token.end, "choice")
        if token.kind == "text":
            first, last = i, i
            while self.tokens[first - 1].kind == "text":
                first -= 1
            while self.tokens[last + 1].kind == "text" or (
                    self.tokens[last + 1].kind == "word"
                    and self.tokens[last + 1].begin == self.tokens[last].end):
                last += 1
            return Region(self.tokens[first].begin, self.tokens[last].end, "expression")
        if token.kind in ("character", "number") or token.text in ("true", "false"):
            return Region(token.begin, token.end, "expression")
        first, behind = self.left(i), self.right(i + 1)
        return Region(self.tokens[first].begin, self.tokens[behind - 1].end, "expression")


def nested(regions):
    """The outermost regions, each with those in it; and the mutants of what overlaps."""
    tops, stack, refused = [], [], []
    for region in sorted(regions, key=lambda one: (one.begin, -one.end)):
        while stack and stack[-1].end <= region.begin:
            stack.pop()
        if stack and region.end > stack[-1].end:
            refused += region.mutants
            continue
        (stack[-1].inner if stack else tops).append(region)
        stack.append(region)
    return tops, refused


class Switched:
    """A source's text with all its mutants that are numbered."""

    def __init__(self, text, numbered):
        self.text = text
        source = Source(text)
        regions, self.refused = {}, []
        for number, mutant in numbered:
            region = source.region_of(mutant)
            if region is None:
                self.refused.append((number, mutant))
                continue
            known = regions.setdefault((region.begin, region.end, region.form), region)
            known.mutants.append((number, mutant))
        self.tops, more = nested(regions.values())
        self.refused += more

    def _alternative(self, region, mutant):
        text = (self.text[region.begin : mutant.begin] + mutant.replacement
                + self.text[mutant.end : region.end])
        return " ".join(line.split("//")[0] for line in text.split("\n")) if "\n" in text else text

    def _render(self, begin, end, regions):
        """The text as pieces, each with the number of the mutant whose it is alone, or None."""
        position = begin
        for region in regions:
            yield self.text[position : region.begin], None
            yield from self._switch(region)
            position = region.end
        yield self.text[position:end], None

    def _switch(self, region):
        own = list(self._render(region.begin, region.end, region.inner))
        number, mutant = region.mutants[0]
        if region.form == "jump":
            yield from [(f"{{ if (!mutated({number})) ", None), *own, (" }", None)]
        elif region.form == "declared":
            name = mutant.replacement[3:]
            yield f"; mutated({number}) != static_cast<bool>({name})", number
        elif region.form == "choice":
            yield from [(f"mutated({number}) != static_cast<bool>(", number), *own[:-1],
                        (own[-1][0][:-1], None), (") ?", number)]
        else:
            truth = "static_cast<bool>" if region.form == "condition" else ""
            for number, mutant in reversed(region.mutants):
                yield f"(mutated({number}) ? ", None
                cast = truth or ("static_cast<bool>" if self.text[mutant.begin] == "!" else "")
                yield f"{cast}({self._alternative(region, mutant)})", number
                yield " : ", None
            yield from [(f"{truth}(", None), *own, (")" + ")" * len(region.mutants), None)]

    def pieces(self):
        return [piece for piece in self._render(0, len(self.text), self.tops) if piece[0]]

    def __str__(self):
        return "".join(text for text, _ in self.pieces())

    def _spans(self, regions):
        for region in regions:
            first = self.text.count("\n", 0, region.begin) + 1
            last = self.text.count("\n", 0, region.end) + 1
            yield first, last, [number for number, _ in region.mutants]
            yield from self._spans(region.inner)

    def blamed(self, line, column):
        """The numbers of the mutants that a complaint about a place of the whole text is about."""
        at_line, at_column = 1, 1
        for text, number in self.pieces():
            lines = text.count("\n")
            end_line = at_line + lines
            end_column = len(text) - text.rfind("\n") if lines else at_column + len(text)
            if (at_line, at_column) <= (line, column) < (end_line, end_column) and number:
                return {number}
            at_line, at_column = end_line, end_column
        covering = [(last - first, numbers) for first, last, numbers in self._spans(self.tops)
                    if first <= line <= last]
        return {number for _, numbers in covering for number in numbers}
