"""The pages are tests (docs/CMakeLists.txt): cram runs the lines behind "$", four blanks in, and compares what comes. A
reader sees them as a console's block, and an ellipsis where cram takes anything. Manual pages get a title: theirs stands
in their file's name."""

import re

RUN = re.compile(r"^ {4}\$ .*\n(?: {4}.*\n)*", re.MULTILINE)
ANY = re.compile(r"^(.*) \(glob\)$", re.MULTILINE)
MANUAL_PAGE = re.compile(r"reference/(.+)\.([135])\.md")


def console(match):
    lines = re.sub("^ {4}", "", match[0], flags=re.MULTILINE)
    lines = ANY.sub(lambda line: line[1].replace("*", "…"), lines)
    return "```console\n" + lines.rstrip() + "\n```\n"


def on_page_markdown(markdown, page, **_):
    manual_page = MANUAL_PAGE.fullmatch(page.file.src_uri)
    if manual_page:
        title = "{}({})".format(*manual_page.groups())
        markdown = f"# {title}\n\n" + re.sub("^# ", "## ", markdown, flags=re.MULTILINE)
    return RUN.sub(console, markdown)
