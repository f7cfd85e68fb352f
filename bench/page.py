"""Writes the page of benchmarks and its plots from what the benchmarks kept.

Usage: page.py FIGURES FOLDER    FIGURES has a file of lines for each run (record.h), and what scripts/bench printed
"""
import json
import os
import re
import statistics
import subprocess
import sys

AIMS = json.load(open(os.path.join(os.path.dirname(__file__), "aims.json")))

# How cost grows: title, the name's pattern with the number as its group "n", what the number is.
SERIES = [
    ("cloud messages by size", r"^cloud message and answer, (?P<n>\d+) B each$", "bytes each way"),
    ("permission query by slot", r"^perm queries / bare calls \+ reading, slot (?P<n>\d+)$", "the caller's slot in the table"),
    ("list of downloads by tasks", r"^list of (?P<n>\d+), \d+ characters$", "tasks"),
    ("base64 encode by size", r"^base64 encode, (?P<n>\d+ K?B)$", "bytes"),
    ("base64 decode by size", r"^base64 decode, (?P<n>\d+ K?B)$", "bytes"),
    ("escape_uri by size", r"^escape_uri, text, (?P<n>\d+ K?B)$", "bytes"),
    ("pool by requests, beside malloc", r"^(?P<n>\d+) of 16-64 bytes; malloc and free$", "requests"),
]


class Figures:
    def __init__(self, folder):
        self.pairs = {}  # what: [(ours, peer)], a pair for each run
        self.programs = {}  # name: [what]
        self.growth = {}  # (unit, number): {way: {at: [us]}}
        self.instructions = []  # (call, count)
        self.runs = 0
        for name in sorted(os.listdir(folder)):
            if name.startswith("run"):
                self.runs += 1
                for line in open(os.path.join(folder, name)):
                    self.take(line.rstrip("\n").split("\t"))

    def take(self, words):
        if words[0] == "pair":
            if words[1] not in self.pairs:
                self.programs.setdefault(words[4], []).append(words[1])
            self.pairs.setdefault(words[1], []).append((float(words[2]), float(words[3])))
        elif words[0] == "growth":
            ways = self.growth.setdefault((words[1], words[2]), {})
            ways.setdefault(words[3], {}).setdefault(int(words[4]), []).append(float(words[5]))
        elif words[0] == "instructions":
            self.instructions.append((words[1], int(words[2])))


def aim_of(what):
    return next((aim for aim in AIMS if re.search(aim["what"], what)), None)


def time_text(ns):
    for limit, unit in ((1e3, "ns"), (1e6, "µs"), (1e9, "ms")):
        if ns < limit:
            return f"{ns / (limit / 1e3):.3g} {unit}"
    return f"{ns / 1e9:.3g} s"


def spread(values):
    return f"{statistics.median(values):.2f} ({min(values):.2f} to {max(values):.2f})"


def row(*cells):
    return "| " + " | ".join(str(cell) for cell in cells) + " |\n"


def pair_tables(figures):
    text = ""
    for program, names in sorted(figures.programs.items()):
        text += f"### bench/{re.sub('^bench_(box_)?', '', program)}.cpp\n\n"
        text += row("What", "Ours", "Peer", "Ratio (least to most)", "Aim") + row(*["---"] * 5)
        for what in names:
            runs, aim = figures.pairs[what], aim_of(what)
            text += row(what, time_text(statistics.median(r[0] for r in runs)), time_text(statistics.median(r[1] for r in runs)),
                        spread([ours / peer for ours, peer in runs]), aim["aim"] if aim else "")
        text += "\n"
    return text


def missed_aims(figures):
    text = ""
    ratios = {what: statistics.median(ours / peer for ours, peer in runs) for what, runs in figures.pairs.items()}
    for (unit, number), ways in figures.growth.items():
        for at in ways["ours"]:
            ratios[f"{unit}, {at} {number}"] = (statistics.median(ways["ours"][at]) / statistics.median(ways["bare"][at]))
    for aim in AIMS:
        over = [f"{what} {ratio:.2f}" for what, ratio in ratios.items() if re.search(aim["what"], what) and ratio > aim["aim"]]
        if over:
            text += f"- Aim {aim['aim']}, missed by {'; '.join(over)}. {aim['why']}\n"
    return text or "None is missed.\n"


def growth_tables(figures, plots):
    text = ""
    for (unit, number), ways in figures.growth.items():
        name = f"{unit} by {number}"
        plots.draw(name, number, {way: [(at, statistics.median(us) * 1000) for at, us in points.items()]
                                  for way, points in ways.items()})
        text += f"### {name[0].upper() + name[1:]}\n\n![{name}]({plots.link(name)})\n\n"
        text += row(number, *[f"{way}, µs" for way in ways], "Ratio (least to most)") + row(*["---"] * (len(ways) + 2))
        for at in ways["ours"]:
            ratios = [ours / bare for ours, bare in zip(ways["ours"][at], ways["bare"][at])]
            text += row(at, *[f"{statistics.median(points[at]):.1f}" for points in ways.values()], spread(ratios))
        text += "\n"
    return text


def size_in_bytes(text):
    number, _, unit = text.partition(" ")
    return int(number) * (1024 if unit == "KB" else 1)


def series_plots(figures, plots):
    text = ""
    for title, pattern, axis in SERIES:
        lines = {"ours": [], "peer": []}
        for what, runs in figures.pairs.items():
            found = re.match(pattern, what)
            if found:
                at = size_in_bytes(found["n"])
                lines["ours"].append((at, statistics.median(r[0] for r in runs)))
                lines["peer"].append((at, statistics.median(r[1] for r in runs)))
        if len(lines["ours"]) > 2:
            plots.draw(title, axis, lines)
            text += f"### {title[0].upper() + title[1:]}\n\n![{title}]({plots.link(title)})\n\n"
    return text


class Plots:
    """SVG files of time over a number, both in powers."""

    def __init__(self, folder):
        self.folder = folder
        os.makedirs(folder, exist_ok=True)

    def file(self, title):
        return re.sub(r"[^a-z0-9]+", "-", title.lower()) + ".svg"

    def link(self, title):
        return os.path.basename(self.folder) + "/" + self.file(title)

    def draw(self, title, axis, lines):
        colours = {"ours": "#0b62c4", "peer": "#8a8f98", "bare": "#8a8f98"}
        script = ("set terminal svg size 640,360 background rgb 'white' font 'sans-serif,13'\n"
                  f"set output '{os.path.join(self.folder, self.file(title))}'\n"
                  "set logscale xy\nset format y '%.0s %cs'\nset grid ytics lc rgb '#e4e6ea'\nset border 3 lc rgb '#8a8f98'\n"
                  f"set tics nomirror\nset key top left\nset xlabel \"{axis}\"\n")
        for way, points in lines.items():
            script += f"${way} << END\n" + "".join(f"{at} {ns * 1e-9}\n" for at, ns in sorted(points)) + "END\n"
        script += "plot " + ", ".join(f"${way} with linespoints lw 2 pt 7 ps 0.6 lc rgb '{colours[way]}' title '{way}'"
                                      for way in lines) + "\n"
        subprocess.run(["gnuplot"], input=script, text=True, check=True)


def printed(folder, name):
    return "```text\n" + open(os.path.join(folder, name)).read().rstrip() + "\n```\n"


def main(figures_folder, docs):
    figures = Figures(figures_folder)
    plots = Plots(os.path.join(docs, "benchmarks"))
    about = open(os.path.join(figures_folder, "about")).read().strip()
    page = f"""# Benchmarks

This page is written by `scripts/figures`. A time is the low decile of many repetitions of a run; ours and the peer's
are measured in one run, in shuffled order, and only their ratio means something on another machine. Shown are the
medians of {figures.runs} runs, and how far the runs' ratios lay apart. {about}

## Beside peers

{pair_tables(figures)}## Aims that are missed

{missed_aims(figures)}
## How cost grows

Bare is the same with libubus alone.

{growth_tables(figures, plots)}{series_plots(figures, plots)}
## What a call costs on the router

Instructions of the calling process, user space, for a call whose names are bound and whose caches are filled; counted
under emulation.

{row("Call", "Instructions") + row("---", "---:") + "".join(row(call, f"{count:,}") for call, count in figures.instructions)}
## Memory of a plug-in

The same plug-in with libubus alone, and with this library, on this machine, in KiB.

{printed(figures_folder, "memory")}
## Bytes on the router

Of the stripped files, of each folder of `src/` and of each call: the commit before, now, and the change.

{printed(figures_folder, "sizes")}"""
    open(os.path.join(docs, "benchmarks.md"), "w").write(page)


if __name__ == "__main__":
    main(*sys.argv[1:])
