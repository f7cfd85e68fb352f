"""The pages are tests (docs/CMakeLists.txt): cram runs the lines behind "$", four blanks in, and compares what comes. A
reader sees them as a console's block, and an ellipsis where cram takes anything."""

import re

RUN = re.compile(r"^ {4}\$ .*\n(?: {4}.*\n)*", re.MULTILINE)
ANY = re.compile(r"^(.*) \(glob\)$", re.MULTILINE)


def console(match):
    lines = re.sub("^ {4}", "", match[0], flags=re.MULTILINE)
    lines = ANY.sub(lambda line: line[1].replace("*", "…"), lines)
    return "```console\n" + lines.rstrip() + "\n```\n"


def on_page_markdown(markdown, **_):
    return RUN.sub(console, markdown)
