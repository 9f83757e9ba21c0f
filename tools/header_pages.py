#!/usr/bin/env python3
"""Writes the library's manual pages, one for each family of public headers.

usage: header_pages.py FOLDER OVERVIEW SOURCES HEADER...

FOLDER receives the pages. OVERVIEW is zrpclient.3, which has the date and the version, and has to
name each page. The headers are paths below SOURCES. A header in no family is an error.

A header is read as it is written here: comment at the top, then blocks with a blank line between
them, each a comment and the declarations that it describes.
"""

import pathlib
import re
import sys
import textwrap

TITLE = {
    "client": "the C++ face: everything an administrator does",
    "config": "the daemons' configuration files",
    "connections": "requests on client connections, open files and locks",
    "documents": "writer of requests, reader of replies, names",
    "log": "log of the process",
    "result": "result codes and conventions; sizes and numbers as text",
    "server": "requests on the server: figures, settings, versions",
    "storage": "requests to the storage daemon",
    "transport": "exchanges with the daemons",
    "volumes": "requests on volumes and their shadows",
}

# The family of a header is that of the first pattern that its path matches as a whole.
FAMILIES = (
    (r"client\.h|client/.*", "client"),
    (r"config/.*", "config"),
    (r"log/.*", "log"),
    (r"requests/(connection|open_files).*", "connections"),
    (r"requests/storage_.*", "storage"),
    (r"requests/(volume_|shadow_).*|volume_name\.h", "volumes"),
    (r"requests/.*", "server"),
    (r"xml_.*|tags\.h|heap_text\.h", "documents"),
    (r"transport\.h|ipc_context\.h|exchange_.*|strict_exchange\.h|request_hooks\.h", "transport"),
    (r"result\.h|genericCode\.h", "result"),
)

# Those with which their pages begin.
FIRST = ("client.h", "config/config_file.h", "log/log_context.h", "requests/volume_list.h",
         "requests/server_statistics.h", "result.h", "transport.h", "xml_writer.h")

# What nobody includes by itself.
NO_PAGE = r"cplusplus\.h|client/detail\.h|tags_.*\.inc"

CODE_WIDTH = 72  # of a terminal of 80 columns, with the indentation of a page


def families_of(headers):
    """The headers of each family, in the order in which they are given."""
    found = {family: [] for family in TITLE}
    for header in headers:
        if re.fullmatch(NO_PAGE, header):
            continue
        family = next((name for pattern, name in FAMILIES if re.fullmatch(pattern, header)), None)
        if family is None:
            sys.exit(f"header_pages.py: {header} is in no family")
        found[family].append(header)
    return {family: sorted(own, key=lambda header: header not in FIRST)
            for family, own in found.items()}


def roff(text):
    """Text of which roff takes nothing for its own, but for hyphens."""
    for plain, escape in (("\\", "\\e"), ("'", "\\(aq"), ("`", "\\(ga"), ("^", "\\(ha"),
                          ("~", "\\(ti")):
        text = text.replace(plain, escape)
    return text


def escaped(text):
    """A sentence: between two letters is a hyphen, anything else a minus."""
    return re.sub(r"(?<![A-Za-z])-|-(?![A-Za-z])", r"\\-", roff(text))


def guarded(line):
    return "\\&" + line if line.startswith((".", "'")) else line


def filled(text):
    lines = textwrap.wrap(escaped(text), 78, break_long_words=False, break_on_hyphens=False)
    return [guarded(line) for line in lines]


def code(lines):
    return [".nf", *[guarded(roff(line).replace("-", "\\-")) for line in lines], ".fi"]


def prose(comment):
    """A comment as paragraphs, lists and examples."""
    out = []
    text = []  # of the paragraph or the item that is being read
    example = []
    in_item = False

    def flush():
        if text:
            out.extend(filled(" ".join(text)))
            text.clear()
        if example:
            out.extend([".PP", *code(example)] if out else code(example))
            example.clear()

    for line in comment + [""]:
        item = re.match(r" {0,3}(\d+\.|-) +(.*)", line)
        if not line.strip():
            flush()
            if out and out[-1] != ".PP":
                out.append(".PP")
            in_item = False
        elif item:
            flush()
            if out and out[-1] == ".PP":
                out.pop()
            out.append('.IP "%s" 4' % (item[1].replace("-", "\\(bu")))
            text.append(item[2])
            in_item = True
        elif line.startswith("    ") and not in_item:
            if text:
                flush()
            example += narrowed(line)
        else:
            text.append(line.strip())
    while out and out[-1] == ".PP":
        out.pop()
    return re.sub(r"\.PP\n\.PP", ".PP", "\n".join(out)).split("\n") if out else []


def split_comment(line):
    """The code of a line and the comment after it, or None."""
    match = re.match(r'((?:[^"/]|"(?:[^"\\]|\\.)*"|/(?!/))*)// ?(.*)', line)
    return (match[1].rstrip(), match[2]) if match else (line.rstrip(), None)


def statements(lines):
    """Joins a statement that goes over several lines: (code, comment, comment is above it)."""
    pending, remarks, above = "", [], False
    for line in lines:
        text, comment = split_comment(line)
        if comment is not None:
            above = above or not (pending or text)
            remarks.append(comment.strip())
        if not text and (comment is not None or pending):
            continue
        glue = "" if not pending or pending.endswith(("(", "<")) else " "
        pending += glue + (text.strip() if pending else text)
        if pending.count("(") > pending.count(")") or pending.endswith(")"):
            continue
        yield pending, " ".join(remarks), above
        pending, remarks, above = "", [], False
    if pending or remarks:
        yield pending, " ".join(remarks), above


def without_bodies(lines):
    """Declarations only: what a function does is no matter of a manual."""
    shown = []
    skipped = 0  # open braces of a body that is left out
    hidden = False  # after "private:"
    for text, comment, above in statements(lines):
        if skipped:
            skipped += text.count("{") - text.count("}")
            continue
        hidden = (hidden or text.strip() == "private:") and not text.startswith("}")
        if hidden or re.search(r"= (delete|default);$", text) or text.startswith("static_assert"):
            continue
        text = re.sub(r"\[\[(nodiscard|gnu::format\([^)]*\))\]\] ?", "", text)
        text = re.sub(r"^(\s*)inline (?!constexpr)", r"\1", text)
        body = re.match(r"((?!\s*(?:struct|class|enum) ).*?\)(?: const)?)(?: : .*)? \{(?!\}\))", text)
        if body:
            skipped = text.count("{") - text.count("}")
            text = body[1] + ";"
        if text.startswith("}") and shown and not any(shown[-1]):
            shown.pop()  # the gap before what is private
        shown.append((text, comment, above))
    return shown


def narrowed(text, comment="", above=False):
    """One declaration as lines that fit a page."""
    indent = text[: len(text) - len(text.lstrip())]
    if comment and not above and len(text) + len(comment) + 4 <= CODE_WIDTH:
        return [f"{text} // {comment}"]
    lines = []
    if comment:
        lines = textwrap.wrap(comment, CODE_WIDTH, initial_indent=indent + "// ",
                              subsequent_indent=indent + "// ")
    while len(text) > CODE_WIDTH:
        ends = [[match.end() for match in re.finditer(mark, text[:CODE_WIDTH + 1])
                 if match.end() > len(indent) + 4] for mark in (r", | = | && |-> ", r"\((?!\))")]
        cut = max(ends[0] or ends[1] or [0])
        if cut == 0:
            break
        lines.append(text[:cut].rstrip())
        text = indent + "    " + text[cut:].lstrip()
    return lines + ([text] if text or not lines else [])


def blocks(lines):
    """The blocks of a header's namespaces, as (comment, code)."""
    comment, body, depth = [], [], 0
    for line in lines + [""]:
        if not line.strip() and depth == 0:
            if comment or body:
                yield comment, body
            comment, body = [], []
        elif line.startswith("//") and not body:
            comment.append(line[2:])
        else:
            body.append(line)
            text = split_comment(line)[0]
            depth += text.count("{") - text.count("}")


def page_part(header, path):
    """The section of one header."""
    lines = path.read_text(encoding="utf-8").split("\n")
    pragma = lines.index("#pragma once")
    top = [line[2:] for line in lines[:pragma]]
    kept = []
    hidden = 0  # open braces of namespace detail
    for line in lines[pragma + 1:]:
        if hidden or line == "namespace detail {":
            hidden += split_comment(line)[0].count("{") - split_comment(line)[0].count("}")
        elif re.match(r"namespace zrp(::\w+)? \{|\} // namespace zrp", line):
            kept.append("")
        elif re.match(r"#(?!include.*\.inc)|namespace zrp::\w+ \{", line):
            continue
        else:
            kept.append(line)
    out = [f'.SS "<zrp/{header}>"', *prose(top)]
    for comment, body in blocks(kept):
        shown = [line for pair in without_bodies(body) for line in narrowed(*pair)]
        if not shown and not comment:
            continue
        out.append(".PP")
        if shown:
            out.extend(code(shown))
        if comment:
            text = prose(comment)
            out.extend([".RS 4", *text, ".RE"] if shown else text)
    return out


def main():
    folder, overview, sources = map(pathlib.Path, sys.argv[1:4])
    head = overview.read_text(encoding="utf-8").split("\n", 1)[0].split(" ", 2)[2]
    found = families_of(sys.argv[4:])
    names = {family: f"zrpclient_{family}" for family in found}
    folder.mkdir(parents=True, exist_ok=True)
    for family, headers in found.items():
        name = names[family]
        if f".BR {name} (3)" not in overview.read_text(encoding="utf-8"):
            sys.exit(f"header_pages.py: {overview} does not name {name}(3)")
        others = ["zrpclient"] + [other for other in names.values() if other != name]
        page = [f".TH {name.upper()} {head}", ".SH NAME",
                f"{name} \\- {escaped(TITLE[family])}",
                ".SH SYNOPSIS", ".nf",
                *[f".B #include <zrp/{header}>" for header in headers],
                ".fi", ".SH DESCRIPTION",
                "These are the declarations of the headers with their comments. What all",
                "functions share is in",
                ".BR zrpclient (3)", "and", ".BR zrpclient_result (3)."]
        for header in headers:
            page += page_part(header, sources / header)
        page += [".SH SEE ALSO", *[f".BR {other} (3)," for other in others[:-1]],
                 f".BR {others[-1]} (3)"]
        (folder / f"{name}.3").write_text("\n".join(page) + "\n", encoding="utf-8")


main()
