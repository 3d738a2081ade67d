#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""report.py [FILE...]: merges what benchmarks saved with --json into bench/report.json, and makes bench/report.html and
the figures in README.md from that. Without files it makes them from the report that is there."""
import datetime
import json
import math
import os
import pathlib
import platform
import re
import subprocess
import sys

import jinja2

PROJECT = pathlib.Path(__file__).resolve().parent.parent
BENCH = PROJECT / "bench"
README_FIGURES = re.compile(r"(?<=<!-- figures: script/bench writes them -->\n).*?(?=<!-- end of figures -->)", re.DOTALL)

# --- The report ---


def output_of(*command):
    return subprocess.run(command, cwd=PROJECT, check=True, capture_output=True, text=True).stdout


def machine():
    model = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return {
        "processor": model[1] if model else platform.machine(),
        "cores": os.cpu_count(),
        "kernel": f"{platform.system()} {platform.release().split('-')[0]}",
        "compiler": output_of("c++", "--version").splitlines()[0],
    }


def library():
    version = re.search(r"project\(varnel\s+VERSION ([\d.]+)", (PROJECT / "CMakeLists.txt").read_text())[1]
    if not (PROJECT / ".git").exists():
        return version
    return f"{version}, revision {output_of('git', 'rev-parse', '--short', 'HEAD').strip()}"


def rounded(value):
    """Six digits tell more than a measurement knows; more make every report differ everywhere."""
    if isinstance(value, dict):
        return {key: rounded(each) for key, each in value.items()}
    if isinstance(value, list):
        return [rounded(each) for each in value]
    return float(f"{value:.6g}") if isinstance(value, float) and not value.is_integer() else value


def merged(files):
    found = [json.loads(pathlib.Path(file).read_text()) for file in files]
    all_of = {kind: [each for one in found for each in one[kind]] for kind in ("families", "figures", "growths")}
    ids = [each["id"] for each in all_of["figures"] + all_of["growths"]]
    if twice := {each for each in ids if ids.count(each) > 1}:
        sys.exit(f"report.py: more than one figure of the name {', '.join(sorted(twice))}")
    today = datetime.datetime.now(datetime.timezone.utc).date().isoformat()
    return rounded({"date": today, "library": library(), "machine": machine(), **all_of})


# --- Numbers ---


def number(value, is_counted=False):
    """Three digits, or all of what was counted."""
    if is_counted and float(value).is_integer() or value == 0:
        return f"{value:,.0f}"
    decimals = 2 - math.floor(math.log10(abs(value)))
    return f"{round(value, decimals):,.{max(decimals, 0)}f}"


def times(ratio):
    if ratio is None:
        return "-"
    if 0 < ratio < 0.095:
        return f"{ratio:.{-math.floor(math.log10(ratio))}f}"
    return f"{ratio:.2f}" if ratio < 9.995 else f"{ratio:,.0f}"


def tick(value):
    """A label of an axis."""
    return f"{value / 1e6:g}M" if value >= 1e6 else f"{value / 1e3:g}k" if value >= 1e4 else f"{value:,g}"


def is_ahead(contender):
    return contender["ratio"] is not None and contender["ratio"] < 0.995


def is_behind(figure):
    return any(each["role"] == "peer" and is_ahead(each) for each in figure["contenders"])


# --- Charts: sizes in pixels of the page ---


BAR_WIDTH = 260


def bars(figure):
    """For each contender its bar and its spread. Outliers do not flatten the bars: a spread may leave the picture."""
    scale = BAR_WIDTH / (1.3 * max(each["median"] for each in figure["contenders"]) or 1)
    return [{key: min(each[key] * scale, BAR_WIDTH) for key in ("median", "lowest", "highest")} for each in figure["contenders"]]


def decades(values):
    return [10.0**n for n in range(math.floor(math.log10(min(values))), math.ceil(math.log10(max(values))) + 1)]


def spread_out(heights, distance):
    """Moves labels down until none covers the one above it."""
    placed, last = {}, -math.inf
    for i in sorted(range(len(heights)), key=heights.__getitem__):
        placed[i] = last = max(heights[i], last + distance)
    return [placed[i] for i in range(len(heights))]


def along(value, ends, pixels):
    """Where a value is between the ends of a logarithmic axis."""
    share = math.log(value / ends[0]) / (math.log(ends[-1] / ends[0]) or 1)
    return pixels[0] + (pixels[1] - pixels[0]) * share


class Plot:
    """A growth on logarithmic axes, our line on top."""

    left, right, top, bottom = 64, 420, 12, 270

    def __init__(self, growth):
        lines = growth["lines"]
        self.sizes = [point["size"] for point in lines[0]["points"]]
        self.values = decades([point["median"] for line in lines for point in line["points"] if point["median"] > 0])
        points = [[self.place(point) for point in line["points"] if point["median"] > 0] for line in lines]
        labels = spread_out([each[-1][1] for each in points], 15)
        self.lines = [
            {"name": lines[i]["name"], "role": lines[i]["role"], "points": points[i], "label": labels[i], "colour": (i - 1) % 6}
            for i in reversed(range(len(lines)))
        ]

    def place(self, point):
        return self.x(point["size"]), self.y(point["median"])

    def x(self, size):
        return along(size, self.sizes, (self.left, self.right))

    def y(self, value):
        return along(value, self.values, (self.bottom, self.top))


# --- Pages ---


def sections(report):
    """The families, each with its figures."""
    def of(family, kind):
        return [each for each in report[kind] if each["id"].split(".")[0] == family["id"]]

    for family in report["families"]:
        yield family | {kind: of(family, kind) for kind in ("figures", "growths")}


def page(report):
    loader = jinja2.FileSystemLoader(BENCH)
    environment = jinja2.Environment(loader=loader, autoescape=True, trim_blocks=True, lstrip_blocks=True)
    environment.filters |= {"number": number, "times": times, "tick": tick}
    environment.globals |= {"bars": bars, "bar_width": BAR_WIDTH, "Plot": Plot, "zip": zip}
    environment.tests |= {"behind": is_behind, "ahead": is_ahead}
    return environment.get_template("report.html.j2").render(report=report, sections=list(sections(report)))


def readme_row(what, figure):
    ours, *others = figure["contenders"]
    peers = [each for each in others if each["role"] == "peer"] or others
    compared = "; ".join(f"{each['name']} {times(each['ratio'])}" for each in peers)
    value = number(ours["median"], ours["rounds"] == 1)
    return f"| {what} | {value} {figure['unit']} | {compared} | `{figure['id']}` |"


def with_figures(readme, report):
    """A row keeps its first column, the text, and its last, the figure's id."""
    figures = {figure["id"]: figure for figure in report["figures"]}

    def filled(row):
        what, name = row[1], row[2]
        if name not in figures:
            sys.exit(f"report.py: README.md names {name}, which the report does not have")
        return readme_row(what, figures[name])

    def filled_table(table):
        return re.sub(r"^\| (.*?) \|.*\| `([^`]+)` \|$", filled, table[0], flags=re.MULTILINE)

    return README_FIGURES.sub(filled_table, readme)


def main(files):
    saved = BENCH / "report.json"
    if files:
        saved.write_text(json.dumps(merged(files), indent=1) + "\n")
    report = json.loads(saved.read_text())
    (BENCH / "report.html").write_text(page(report))
    readme = PROJECT / "README.md"
    readme.write_text(with_figures(readme.read_text(), report))


main(sys.argv[1:])
