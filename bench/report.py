#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""report.py [--quick] FILE...: merges results that benchmarks saved with --json into build/bench/report.json, makes the page
build/bench/report.html from it, and writes the medians to bench/medians.json, except those of quick runs."""
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

from figures import Chart, along, decades, number, times

PROJECT = pathlib.Path(__file__).resolve().parent.parent
BENCH = PROJECT / "bench"
BUILD = PROJECT / "build/bench"

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
    """Six significant digits exceed the precision of any measurement; more would only make reports differ."""
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
    """The bar and the spread of each contender. The scale ignores outliers, so a spread may be cut off."""
    scale = BAR_WIDTH / (1.3 * max(each["median"] for each in figure["contenders"]) or 1)
    return [{key: min(each[key] * scale, BAR_WIDTH) for key in ("median", "lowest", "highest")} for each in figure["contenders"]]


def spread_out(heights, distance):
    """Moves labels down so that none overlaps the one above it."""
    placed, last = {}, -math.inf
    for i in sorted(range(len(heights)), key=heights.__getitem__):
        placed[i] = last = max(heights[i], last + distance)
    return [placed[i] for i in range(len(heights))]


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


def overview(report):
    compared = [(each, {name: ratio for name, ratio in peers_of(each).items() if ratio}) for each in report["figures"]]
    rows = [(figure["title"], figure["id"], ratios, "") for figure, ratios in compared if ratios]
    return Chart(rows, 400, 760).svg()


def page(report):
    loader = jinja2.FileSystemLoader(BENCH)
    environment = jinja2.Environment(loader=loader, autoescape=True, trim_blocks=True, lstrip_blocks=True)
    environment.filters |= {"number": number, "times": times, "tick": tick}
    environment.globals |= {"bars": bars, "bar_width": BAR_WIDTH, "Plot": Plot, "zip": zip}
    environment.tests |= {"behind": is_behind, "ahead": is_ahead}
    template = environment.get_template("report.html.j2")
    return template.render(report=report, overview=overview(report), sections=list(sections(report)))


# --- Medians ---


def peers_of(figure):
    return {each["name"]: each["ratio"] for each in figure["contenders"] if each["role"] == "peer"}


def median_of(figure):
    ours = figure["contenders"][0]
    counted = ours["rounds"] == 1 and float(ours["median"]).is_integer()
    return {"median": int(ours["median"]) if counted else ours["median"], "unit": figure["unit"], "ratios": peers_of(figure)}


def medians(report):
    """One line for each figure, so that a diff shows which ones changed."""
    heads = [f" {json.dumps(key)}: {json.dumps(report[key])}" for key in ("date", "library", "machine")]
    lines = [f"  {json.dumps(each['id'])}: {json.dumps(median_of(each))}" for each in report["figures"]]
    return "{\n" + ",\n".join([*heads, ' "figures": {\n' + ",\n".join(lines)]) + "\n }\n}\n"


def main(arguments):
    is_quick = "--quick" in arguments
    report = merged([argument for argument in arguments if argument != "--quick"])
    (BUILD / "report.json").write_text(json.dumps(report, indent=1) + "\n")
    (BUILD / "report.html").write_text(page(report))
    if not is_quick:
        (BENCH / "medians.json").write_text(medians(report))


if __name__ == "__main__":
    main(sys.argv[1:])
