#!/usr/bin/env python3
"""Writes copies of a C++ source with one small fault each, for scripts/mutate.

usage: mutants.py SOURCE FOLDER [SAMPLE]

FOLDER/N/NAME is the copy with fault N, FOLDER/0/NAME the source as it is. Prints a line for each
fault: N, line number, lines before, lines after, separated by tabs. SAMPLE limits their number; the
faults are then spread evenly over the source.

The grammar is that of clang-format's output: a binary operator has blanks on both sides, the
brackets of a template and the marks of a type do not.
"""

import pathlib
import re
import sys

TOKEN = re.compile(
    r"""(?P<skipped> //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:\\\n|[^\n])* | \[\[.*?\]\]
                   | R"(?P<mark>[^(]*)\(.*?\)(?P=mark)" | "(?:\\.|[^"\\])*" | '(?:\\.|[^'\\])+')
      | (?P<number> \d(?:['.]?\w)* )
      | (?P<word> [A-Za-z_]\w* )
      | (?P<sign> <=> | <<= | >>= | -> | \+\+ | -- | && | \|\| | << | >> | :: | [-+*/%&|^=!<>]= | \S )
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

SWAPS = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++",
    "true": "false", "false": "true",
}  # fmt: skip
NEEDS_BLANKS = {"<", ">", "&&", "+", "-"}

INTEGER = re.compile(r"(0[xX][\da-fA-F']+|[\d']+)([uUlLzZ]*)")

# A call or an assignment from its first byte on: what is called or assigned to, then how.
ACTION = re.compile(r"(\+\+|--)?\**[A-Za-z_][\w:]*((\.|->)\w+|\[[^]]*\])*\s*(\(|\+\+|--|[-+*/|&]?=\s)")
NO_ACTION = re.compile(r"(if|for|while|switch|return|break|continue|default|goto|static_assert)\b")


def tokens(text):
    """The tokens that a fault may be in: no comments, literals, directives, static assertions."""
    depth = 0  # of parentheses within a static assertion
    for token in TOKEN.finditer(text):
        if token["skipped"]:
            continue
        if depth > 0 or token[0] == "static_assert":
            depth += {"static_assert": 1, "(": 1, ")": -1, ";": -1}.get(token[0], 0)
            continue
        yield token


def next_number(literal):
    match = INTEGER.fullmatch(literal)
    if match is None:
        return None
    digits = match[1].replace("'", "")
    if digits[:2] in ("0x", "0X"):
        return f"{int(digits, 16) + 1:#x}{match[2]}"
    if digits[0] == "0" and len(digits) > 1:
        return f"0{int(digits, 8) + 1:o}{match[2]}"
    return f"{int(digits) + 1}{match[2]}"


def changed_tokens(text, code):
    previous = ""
    for token in code:
        start, end = token.span()
        after = None
        if token["number"]:
            after = next_number(token[0])
        elif token[0] == "!":
            after = ""
        elif previous != "operator" and (
            token[0] not in NEEDS_BLANKS or (text[start - 1] + text[end]).isspace()
        ):
            after = SWAPS.get(token[0])
        if after is not None:
            yield start, end, after
        previous = token[0]


def statement_end(code, first):
    """The end of the statement's semicolon; None for the head of a function or of a loop."""
    depth = 0
    for i in range(first, len(code)):
        depth += {"(": 1, "{": 1, "[": 1, ")": -1, "}": -1, "]": -1}.get(code[i][0], 0)
        if depth < 0 or (depth == 1 and code[i - 1][0] + code[i][0] == "){"):
            return None
        if depth == 0 and code[i][0] == ";":
            return None if code[i - 1][0] in ("delete", "default") else code[i].end()
    return None


def dropped_statements(text, code):
    brackets = []
    for i, token in enumerate(code):
        if token[0] in "({[":
            brackets.append(token[0])
        elif token[0] in ")}]":
            brackets.pop()
        if token[0] not in "{};" or brackets[-1:] != ["{"]:
            continue
        start = code[i + 1].start()
        if ACTION.match(text, start) and not NO_ACTION.match(text, start):
            end = statement_end(code, i + 1)
            if end is not None:
                yield start, end, "\n" * text.count("\n", start, end)


def faults_of(text):
    code = list(tokens(text))
    return sorted([*changed_tokens(text, code), *dropped_statements(text, code)])


def write_copy(folder, number, name, text):
    path = pathlib.Path(folder, str(number))
    path.mkdir(parents=True)
    (path / name).write_text(text, encoding="utf-8")


def main(source, folder, sample="0"):
    text = pathlib.Path(source).read_text(encoding="utf-8")
    name = pathlib.Path(source).name
    faults = faults_of(text)
    size = int(sample)
    if 0 < size < len(faults):
        faults = [faults[i * len(faults) // size] for i in range(size)]
    write_copy(folder, 0, name, text)
    for number, (start, end, after) in enumerate(faults, 1):
        write_copy(folder, number, name, text[:start] + after + text[end:])
        first = text.rfind("\n", 0, start) + 1
        last = text.find("\n", end)
        lines = (text[first:last], text[first:start] + after + text[end:last])
        shown = (" ".join(line.split()) for line in lines)
        print(number, text.count("\n", 0, start) + 1, *shown, sep="\t")


if __name__ == "__main__":
    main(*sys.argv[1:])
