# SPDX-License-Identifier: Apache-2.0
"""Small mistakes that somebody might make in a C++ source, found in its text.

Each is a change of one place: a condition turned round, a boundary moved by one,
a constant changed, a call, log line, assignment or jump left out, two statements
exchanged. Comments, texts, preprocessor lines and static assertions stay as they
are. The code is expected in this project's formatting, which tells a comparison
from the brackets of a template by its blanks.
"""

import dataclasses
import random
import re

TOKEN = re.compile(
    r"""(?P<skipped>//[^\n]*|/\*.*?\*/|\s+|\#(?:[^\n]*\\\n)*[^\n]*)
    |(?P<text>(?:u8|[uUL])?(?:R"(?P<end>[^(]*)\(.*?\)(?P=end)"
        |"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])+'))
    |(?P<number>0[xX][0-9a-fA-F']+[uUlL]*|\d[\d']*(?:\.\d+)?[uUlLfF]*)
    |(?P<word>[A-Za-z_]\w*)
    |(?P<sign><<=|>>=|<=>|\.\.\.|->|::|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|.)""",
    re.VERBOSE | re.DOTALL,
)

TURNED = {
    "==": "!=",
    "!=": "==",
    "<": ">=",
    ">": "<=",
    "<=": ">",
    ">=": "<",
    "&&": "||",
    "||": "&&",
    "true": "false",
    "false": "true",
}
MOVED = {"<": "<=", ">": ">=", "<=": "<", ">=": ">", "+": "-", "-": "+"}
JUMPS = {"return", "throw", "break", "continue", "co_return"}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}
# What begins a statement that is none of a call, an assignment and a jump.
OTHERS = """auto case catch const constexpr default do else for friend if private
    protected public static static_assert switch template try typedef using
    virtual while""".split()
LOG = re.compile("LOG")  # of the macros for log lines
TYPES = {"class", "struct", "union", "enum"}


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclasses.dataclass(frozen=True)
class Mutation:
    """A change of a file: what stands between two places becomes another."""

    file: str
    line: int
    kind: str
    start: int
    end: int
    old: str
    new: str

    def applied_to(self, text):
        return text[: self.start] + self.new + text[self.end :]

    def change(self):
        """In words, on one line."""
        old, new = (" ".join(part.split()) for part in (self.old, self.new))
        return f"`{old}` becomes `{new}`" if new not in ("", ";") else f"no `{old}`"

    def __str__(self):
        return f"{self.file}:{self.line}: {self.kind}: {self.change()}"


def tokens(text):
    """What a compiler would read, without static assertions."""
    found = []
    asserting = False
    for match in TOKEN.finditer(text):
        asserting = asserting or match["word"] == "static_assert"
        if match.lastgroup != "skipped" and not asserting:
            found.append(Token(match.lastgroup, match[0], match.start(), match.end()))
        asserting = asserting and match["sign"] != ";"
    return found


class Block:
    """What stands between two braces."""

    def __init__(self, kind, begun):
        # "code", "type", "namespace" or "values"
        self.kind = kind
        self.opened = begun
        # The index of the first token of the current statement.
        self.begun = begun
        self.brackets = 0
        # Of the statement before, when both may change places.
        self.previous = None


class Reader:
    """Goes through a file and collects its mutations."""

    def __init__(self, file, text):
        self.file = file
        self.text = text
        self.tokens = tokens(text)
        self.found = []

    def add(self, kind, start, end, new):
        line = self.text.count("\n", 0, start) + 1
        old = self.text[start:end]
        self.found.append(Mutation(self.file, line, kind, start, end, old, new))

    def spaced(self, index):
        """Whether blanks are around a token: it stands between two operands."""
        token = self.tokens[index]
        around = self.text[token.start - 1] + self.text[token.end : token.end + 1]
        return around.isspace() and len(around) == 2

    def word(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def read(self):
        self.read_tokens()
        self.read_conditions()
        self.read_statements()
        return self.found

    def read_tokens(self):
        for index, token in enumerate(self.tokens):
            text = token.text
            if token.kind == "number":
                self.read_number(index)
            elif text in ("true", "false"):
                self.add("constant", token.start, token.end, TURNED[text])
            elif text == "!" and self.word(index - 1) != "operator":
                self.add("condition", token.start, token.end, "")
            elif text in {*TURNED, *MOVED} and self.spaced(index):
                self.read_operator(index)

    def read_number(self, index):
        token = self.tokens[index]
        pure = self.word(index + 1) == ";" and self.word(index - 1) == "="
        if pure and self.word(index - 2) in (")", "const", "noexcept", "override"):
            return
        text = token.text.replace("'", "")
        if text[:2] in ("0x", "0X"):
            digits = text.rstrip("uUlL")
            new = hex(int(digits, 16) + 1)
        else:
            digits = text.rstrip("uUlLfF")
            new = str(float(digits) + 1 if "." in digits else int(digits) + 1)
        new += text[len(digits) :]
        self.add("constant", token.start, token.end, new)

    def read_operator(self, index):
        token = self.tokens[index]
        text = token.text
        # "operator ==", "= default" and the like have no operands.
        if self.word(index - 1) in ("operator", "template", ",", "(", "return"):
            return
        beside = {self.tokens[index - 1].kind, self.tokens[index + 1].kind}
        if text in TURNED and self.word(index + 1) != ")":
            self.add("condition", token.start, token.end, TURNED[text])
        if text in MOVED and "text" not in beside:
            self.add("boundary", token.start, token.end, MOVED[text])

    def read_conditions(self):
        """Turns what is a condition by itself, without an operator to turn."""
        for index, token in enumerate(self.tokens):
            if token.text not in ("if", "while") or self.word(index + 1) != "(":
                continue
            begin = index + 2
            end, depth = begin, 1
            while depth > 0:
                depth += {"(": 1, ")": -1}.get(self.word(end), 0)
                if depth == 1 and self.word(end) == ";":
                    begin = end + 1
                end += 1
            inner = self.tokens[begin : end - 1]
            if not any(each.text in {*TURNED, "=", "!"} for each in inner):
                start, stop = inner[0].start, inner[-1].end
                new = f"!({self.text[start:stop]})"
                self.add("condition", start, stop, new)

    def read_statements(self):
        blocks = [Block("namespace", 0)]
        for index, token in enumerate(self.tokens):
            block = blocks[-1]
            if token.text in "([":
                block.brackets += 1
            elif token.text in ")]":
                block.brackets -= 1
            elif token.text == "{":
                blocks.append(Block(self.kind_of_block(block, index), index + 1))
            elif token.text == "}" and len(blocks) > 1:
                inner = blocks.pop()
                if inner.kind != "values" and blocks[-1].brackets == 0:
                    blocks[-1].begun = index + 1
                    blocks[-1].previous = None
            elif token.text == ";" and block.brackets == 0:
                if block.kind == "code":
                    self.read_statement(block, index, len(blocks))
                block.begun = index + 1
            elif token.text == ":" and self.word(block.begun) in ("case", "default"):
                block.begun = index + 1
                block.previous = None

    def kind_of_block(self, outer, index):
        head = {token.text for token in self.tokens[outer.begun : index]}
        before = self.word(index - 1)
        if outer.kind in ("namespace", "type"):
            if "namespace" in head or "extern" in head:
                return "namespace"
            if head & TYPES and before != ")":
                return "type"
        if before in (")", "]", "else", "do", "try", "const", "noexcept", "override"):
            return "code"
        if before in ("mutable", ";", "{", "}", ":") and outer.kind == "code":
            return "code"
        # "-> Type {" of a function, as against "= Type{" of a value.
        return "code" if "->" in head and outer.kind != "code" else "values"

    def read_statement(self, block, end, depth):
        """A statement up to its semicolon."""
        statement = self.tokens[block.begun : end]
        kind = kind_of_statement(statement)
        place = None
        if kind:
            place = (statement[0].start, self.tokens[end].end)
            # The last statement of a function, which is two deep, gives its
            # value: without it nothing is defined.
            if kind != "jump" or self.word(end + 1) != "}" or self.nested(block):
                self.add(kind, *place, ";")
        if kind not in ("call", "assignment"):
            place = None
        if place and block.previous:
            before, (start, stop) = block.previous
            between = self.text[stop : place[0]]
            swapped = self.text[slice(*place)] + between + self.text[start:stop]
            if not independent(before, statement):
                self.add("swapped", start, place[1], swapped)
        block.previous = (statement, place) if place else None

    def nested(self, block):
        """Whether a block is one of if, for and the like."""
        index, depth = block.opened - 1, 0
        if self.word(index - 1) in ("else", "try", "do", ":"):
            return True
        index -= 1
        if self.word(index) != ")":
            return False
        while index > 0:
            depth += {")": 1, "(": -1}.get(self.word(index), 0)
            if depth == 0:
                break
            index -= 1
        return self.word(index - 1) in ("if", "for", "while", "switch", "catch")


def independent(first, second):
    """Whether it is plain that the order of two statements does not matter: they
    give values that never change to different variables, or hand something over
    under different names."""
    words, others = ([token.text for token in each] for each in (first, second))
    kinds, others_kinds = ([token.kind for token in each] for each in (first, second))
    if words == others:
        return True
    assigned = ["word", "sign", "number"]
    if kinds == others_kinds == assigned and words[1] == others[1] == "=":
        return words[0] != others[0]
    named = ["word", "sign", "text"]
    if kinds[:3] == others_kinds[:3] == named and words[1] == others[1] == "(":
        return words[0] == others[0] and words[2] != others[2]
    return False


def kind_of_statement(statement):
    """call, log line, assignment, jump, or none of them."""
    if not statement or statement[0].text in OTHERS:
        return None
    if statement[0].text in JUMPS:
        return "jump"
    if statement[0].text in ("delete", "++", "--"):
        return "call" if statement[0].text == "delete" else "assignment"
    depth, bracket, sign = 0, None, None
    for index, token in enumerate(statement):
        if depth == 0 and token.text == "(" and bracket is None:
            bracket = index
        if depth == 0 and token.text in ASSIGNMENTS and sign is None:
            sign = index
        depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(token.text, 0)
    if statement[-1].text in ("++", "--"):
        return "assignment"
    head = statement[: sign if sign is not None else bracket]
    if declares(head):
        return None
    if sign is not None:
        return "assignment"
    if not bracket or statement[-1].text != ")":
        return None
    return "log line" if LOG.search(statement[0].text) else "call"


def declares(head):
    """Whether the beginning of a statement has a type and a name."""
    for before, after in zip(head, head[1:]):
        if after.kind == "word" and before.kind == "word":
            return True
        if after.kind == "word" and before.text in ("*", "&", "&&", ">"):
            return before is not head[0]
    return False


def of_file(file, text=None):
    """The mutations of a file, by their places."""
    if text is None:
        with open(file, encoding="utf-8") as source:
            text = source.read()
    return sorted(Reader(file, text).read(), key=lambda each: (each.start, each.kind))


def spread(mutations, seed):
    """All mutations in an order of which each beginning has files and kinds in
    proportion."""
    chance = random.Random(seed)
    groups = {}
    for mutation in mutations:
        groups.setdefault((mutation.file, mutation.kind), []).append(mutation)
    placed = []
    for group in groups.values():
        chance.shuffle(group)
        places = ((n + chance.random()) / len(group) for n in range(len(group)))
        placed += zip(places, group)
    return [mutation for _, mutation in sorted(placed, key=lambda each: each[0])]
