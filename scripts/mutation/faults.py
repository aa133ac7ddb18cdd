"""Small faults that a C++ source could have: what is changed, and into what.

A source is cut into tokens; every rule below looks at one place of the token row and yields faults. Rules know no
types, so some faults do not compile; whoever tries them draws another.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
  (?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*)
| (?P<raw>R"(?P<fence>[^(]*)\(.*?\)(?P=fence)")
| (?P<text>"(?:\\.|[^"\\\n])*")
| (?P<character>(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+')
| (?P<number>0[xX][0-9a-fA-F']+[uUlL]*|\d[\d']*(?:\.\d[\d']*)?(?:[eE][+-]?\d+)?(?:ms|us|s)?[fFuUlL]*)
| (?P<word>[A-Za-z_]\w*)
| (?P<sign><<=|>>=|<=>|\.\.\.|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[{}()\[\];:?,.<>=!+\-*/%&|^~])
""",
    re.X | re.M | re.S,
)
CLOSING = {"(": ")", "{": "}", "[": "]"}
EXCHANGED = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("/",), "+=": ("-=",), "-=": ("+=",),
    "&&": ("||",), "||": ("&&",), "&": ("|",), "|": ("&",), "^": ("|",), "|=": ("&=",), "&=": ("|=",),
}
NO_STATEMENT = set(
    """return if for while do switch case default break continue throw const constexpr auto using namespace class struct
    enum static inline template typename public private protected else virtual explicit friend static_assert unsigned
    int bool char long void double float try catch consteval constinit extern goto operator union alignas
    thread_local""".split())
EMPTY_RESULTS = {"{}", "nullptr", "std::nullopt", "false", "0", '""'}


@dataclass(frozen=True)
class Fault:
    kind: str
    start: int
    end: int
    new: str


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


class Source:
    def __init__(self, text: str):
        self.text = text
        self.tokens = [Token(match.lastgroup if match.lastgroup != "fence" else "raw", match.group(), match.start(), match.end())
                       for match in TOKEN.finditer(text) if match.lastgroup != "skip"]

    def at(self, i: int) -> str:
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def between(self, first: int, last: int) -> str:
        """What stands between two tokens."""
        return self.text[self.tokens[first].end:self.tokens[last].start]

    def closing(self, i: int) -> int | None:
        """The bracket that closes the one at `i`."""
        wanted = []
        for j in range(i, len(self.tokens)):
            token = self.tokens[j]
            if token.kind != "sign":
                continue
            if token.text in CLOSING:
                wanted.append(CLOSING[token.text])
            elif token.text in CLOSING.values():
                if not wanted or wanted.pop() != token.text:
                    return None
                if not wanted:
                    return j
        return None

    def at_this_level(self, i: int, signs: str) -> list[int]:
        """Tokens from `i` on that are one of `signs` and in no bracket opened after `i`, up to the bracket's end."""
        depth, found = 0, []
        for j in range(i, len(self.tokens)):
            text = self.tokens[j].text if self.tokens[j].kind == "sign" else ""
            depth += text in CLOSING
            depth -= text in CLOSING.values()
            if depth < 0:
                return found + [j]
            if depth == 0 and text in signs.split():
                found.append(j)
        return found


def sign_faults(source: Source, i: int):
    token = source.tokens[i]
    before, after = source.text[token.start - 1], source.text[token.end:token.end + 1]
    if token.text in EXCHANGED and before in " \n" and after in (" ", "\n"):
        for new in EXCHANGED[token.text]:
            yield Fault("operator", token.start, token.end, new)
    elif token.text in ("<<", ">>") and before == " " and not is_stream(source, i):
        yield Fault("operator", token.start, token.end, ">>" if token.text == "<<" else "<<")
    elif token.text in ("++", "--"):
        yield Fault("operator", token.start, token.end, "--" if token.text == "++" else "++")
    elif token.text == "!" or (token.text == "~" and source.at(i - 1) in ("(", "&", "=", "|", ",", "return")):
        yield Fault("operator", token.start, token.end, "")


def is_stream(source: Source, i: int) -> bool:
    start = max(source.text.rfind(end, 0, source.tokens[i].start) for end in ";{}")
    statement = source.text[start + 1:source.text.find(";", start + 1)]
    return '"' in statement or re.search(r"log|console|error\(\)|cout|cerr|line|stream", statement) is not None


def number_faults(source: Source, i: int):
    token = source.tokens[i]
    match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|\d[\d']*)((?:ms|us|s)?[fFuUlL]*)", token.text)
    if match is None:
        yield Fault("number", token.start, token.end, f"({token.text} + 1)")
        return
    digits, suffix = match[1].replace("'", ""), match[2]
    is_hex = digits[:2].lower() == "0x"
    value = int(digits, 16 if is_hex else 10)
    others = {value + 1} | ({value - 1} if value > 0 else set()) | ({value >> 1} if is_hex and value > 1 else set())
    for other in sorted(others):
        yield Fault("number", token.start, token.end, (hex(other) if is_hex else str(other)) + suffix)


def text_faults(source: Source, i: int):
    token = source.tokens[i]
    body = token.text[1:-1]
    places = [k for k, sign in enumerate(body) if sign.isalnum() and not (k and body[k - 1] in "\\x%")]
    if places and source.at(i - 1) not in ("extern", "operator"):
        k = places[len(body) * 7 % len(places)]
        new = chr(ord(body[k]) + (1 if body[k] not in "zZ9" else -1))
        yield Fault("text", token.start, token.end, token.text[:k + 1] + new + token.text[k + 2:])


def word_faults(source: Source, i: int):
    token = source.tokens[i]
    if token.text in ("true", "false"):
        yield Fault("number", token.start, token.end, "false" if token.text == "true" else "true")
    elif token.text in ("min", "max") and source.at(i - 1) == "::":
        yield Fault("operator", token.start, token.end, "max" if token.text == "min" else "min")
    elif token.text in ("if", "while") and source.at(i + 1) == "(" and (end := source.closing(i + 1)):
        condition = source.between(i + 1, end)
        head, semicolon, test = condition.rpartition(";")
        if semicolon or not condition.startswith(("auto", "const auto")):
            yield Fault("condition", source.tokens[i + 1].end, source.tokens[end].start,
                        f"{head}{semicolon} !({test.strip()})")
    elif token.text == "return" and (ends := source.at_this_level(i + 1, ";")):
        start, end = source.tokens[i + 1].start, source.tokens[ends[0]].start
        value = source.text[start:end]
        if value and value not in EMPTY_RESULTS:
            yield Fault("result", start, end, "{}")
            if value != "true":
                yield Fault("result", start, end, f"!({value})")
    elif token.text in ("break", "continue") and source.at(i + 1) == ";":
        yield Fault("deletion", token.start, token.end, "")


def argument_faults(source: Source, i: int):
    """Two neighbouring arguments of a call exchanged."""
    before = source.tokens[i - 1] if i else None
    if source.at(i) not in ("(", "{") or before is None or before.kind != "word" or before.text in NO_STATEMENT:
        return
    end = source.closing(i)
    commas = [j for j in source.at_this_level(i + 1, ",") if end and j < end]
    edges = [i, *commas, end]
    if not commas or ";" in source.between(i, end):
        return
    for left, middle, right in zip(edges, edges[1:], edges[2:]):
        one, two = source.between(left, middle), source.between(middle, right)
        if one.strip() != two.strip() and not any(re.search(r"\w[&*]* [&*]*\w|\n", text.strip()) for text in (one, two)):
            yield Fault("arguments", source.tokens[left].end, source.tokens[right].start,
                        f"{two.strip()}, {one.strip()}")


def choice_faults(source: Source, i: int):
    """The two branches of a conditional expression exchanged."""
    if source.at(i) == "?":
        ends = source.at_this_level(i + 1, ": ; ,")
        if len(ends) > 1 and source.at(ends[0]) == ":":
            one, two = source.between(i, ends[0]).strip(), source.between(ends[0], ends[1]).strip()
            if "?" not in two:
                yield Fault("condition", source.tokens[i].end, source.tokens[ends[1]].start, f" {two} : {one}")


def statement_faults(source: Source, i: int):
    """A whole statement left out: a call, an assignment, a log line."""
    token = source.tokens[i]
    if source.at(i - 1) not in (";", "{", "}") or token.text in NO_STATEMENT:
        return
    if token.kind != "word" and token.text not in ("++", "--", "*"):
        return
    ends = source.at_this_level(i, ";")
    text = source.text[token.start:source.tokens[ends[0]].start] if ends and source.at(ends[0]) == ";" else ""
    if re.match(r"(\+\+|--|\*)?[\w:.>\-]+(<[^;]*>)?(\[[^;]*\]\.?\w*)?\s*(\(|[-+|&]?= |<<|\{.*<<)", text, re.S):
        yield Fault("deletion", token.start, token.start + len(text), "")


def faults(text: str) -> list[Fault]:
    """All faults of a source, in no particular order."""
    source = Source(text)
    by_kind = {"sign": sign_faults, "number": number_faults, "text": text_faults, "character": text_faults,
               "word": word_faults}
    found = []
    skip_until = -1
    for i, token in enumerate(source.tokens):
        if token.text in ("static_assert", "namespace", "using", "template"):
            skip_until = max(skip_until, min(end for end in (text.find(";", token.start), text.find("{", token.start),
                                                             len(text)) if end >= 0))
        if token.start < skip_until:
            continue
        rules = [by_kind.get(token.kind), argument_faults, choice_faults, statement_faults]
        for rule in filter(None, rules):
            found += rule(source, i)
    return [fault for fault in found if text[fault.start:fault.end] != fault.new]
