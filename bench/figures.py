#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""figures.py [--check]: updates the figures in the pages from bench/medians.json: docs/figures.svg, docs/xml-speed.svg, and each
table row that ends with the id of a figure. With --check it changes nothing, and fails where something differs."""
import difflib
import html
import json
import math
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
ROW = re.compile(r"^\| (.*?) \|.*\| `(\w+\.[\w.-]+)` \|$", re.MULTILINE)

# --- Numbers ---


def number(value, is_counted=False):
    """Three significant digits, or all digits of a count."""
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


def decades(values):
    return [10.0**n for n in range(math.floor(math.log10(min(values))), math.ceil(math.log10(max(values))) + 1)]


def along(value, ends, pixels):
    """The position of a value between the ends of a logarithmic axis."""
    share = math.log(value / ends[0]) / (math.log(ends[-1] / ends[0]) or 1)
    return pixels[0] + (pixels[1] - pixels[0]) * share


# --- The chart ---

STYLE = """.chart { font: 12px Helvetica, Arial, sans-serif; }
.chart rect { fill: #fff; } .chart text { fill: #1b1b1b; } .chart .quiet { fill: #666; } .chart .grid { stroke: #d8d8d8; }
.chart .one { stroke: #1b1b1b; } .chart .ahead { fill: #0072b2; } .chart .behind { fill: #d55e00; }
.chart .peer { fill: #9a9a9a; }
@media (prefers-color-scheme: dark) {
.chart rect { fill: #161616; } .chart text { fill: #e6e6e6; } .chart .quiet { fill: #a0a0a0; } .chart .grid { stroke: #3c3c3c; }
.chart .one { stroke: #e6e6e6; } .chart .ahead { fill: #4aa8e0; } .chart .behind { fill: #ff8a3c; } }
"""


def svg_of(width, height, label, lines):
    head = [
        f'<svg class="chart" xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}"'
        f' height="{height}" role="img" aria-label="{html.escape(label)}">',
        # REUSE-IgnoreStart
        "<!-- Made by script/bench. SPDX-License-Identifier: Apache-2.0 -->",
        # REUSE-IgnoreEnd
        f"<style>\n{STYLE}</style>",
        f'<rect width="{width}" height="{height}" rx="6"/>',
    ]
    return "\n".join([*head, *lines, "</svg>\n"])


class Chart:
    """How many times better we are than each peer: a row for each figure, a dot for each peer, on a logarithmic axis."""

    head, row_height, plot_width = 48, 22, 300

    def __init__(self, rows, label_width, width):
        """A row is a label, its link or None, ratios by name, and the text on their right."""
        self.rows = rows
        self.width, self.height = width, self.head + self.row_height * len(rows) + 8
        self.sides = (label_width, label_width + self.plot_width)
        self.ticks = decades([ratio for _, _, ratios, _ in rows for ratio in ratios.values()])

    def x(self, ratio):
        return along(ratio, self.ticks, self.sides)

    def axis(self):
        one, bottom = self.x(1), self.height - 8
        yield f'<text class="behind" x="{one - 8:.1f}" y="16" text-anchor="end">the other is better</text>'
        yield f'<text class="ahead" x="{one + 8:.1f}" y="16">varnel is better</text>'
        for tick in self.ticks:
            x = f"{self.x(tick):.1f}"
            yield f'<text class="quiet" x="{x}" y="36" text-anchor="middle">{tick:g}</text>'
            yield f'<path class="{"one" if tick == 1 else "grid"}" d="M{x} 42V{bottom}"/>'

    def row(self, i):
        label, link, ratios, note = self.rows[i]
        y = self.head + self.row_height * i + self.row_height / 2
        text = f'<text x="{self.sides[0] - 12}" y="{y + 4:g}" text-anchor="end">{html.escape(label)}</text>'
        yield f'<a href="#{link}">{text}</a>' if link else text
        for name, ratio in ratios.items():
            side, title = "ahead" if ratio >= 1 else "behind", html.escape(f"{name} {times(ratio)}")
            yield f'<circle class="{side}" cx="{self.x(ratio):.1f}" cy="{y:g}" r="4.5"><title>{title}</title></circle>'
        yield f'<text class="quiet" x="{self.sides[1] + 16}" y="{y + 4:g}">{html.escape(note)}</text>'

    def svg(self):
        lines = [*self.axis(), *(line for i in range(len(self.rows)) for line in self.row(i))]
        return svg_of(self.width, self.height, "How many times better varnel is than others", lines)


# --- The pages ---

PICTURE = {
    "smbus.read_byte": "reading a byte over SMBus",
    "ini.get": "reading a key of an INI file",
    "ini.set": "changing it",
    "log.files": "entries to a text log",
    "log.syslog": "lines to the system log",
    "xml.read.inventory": "reading 10 MB of XML",
    "xml.write.inventory": "writing it",
    "xml.peak.inventory": "memory it takes",
    "queue.1024": "records of 1 KiB through a queue",
    "lock.pair": "taking and releasing a lock",
    "relay.latency": "one command to a BMC",
    "transfer.rate": "file transfer on one machine",
    "footprint.start.without_ipmi": "start of a daemon",
    "footprint.private.without_ipmi": "memory of its own",
    "footprint.armhf_text": "code, 32-bit ARM",
}
SHORT_NAMES = {
    "inih ini_parse": "inih",
    "inih INIReader": "INIReader",
    "GLib GKeyFile": "GKeyFile",
    "expat (no tree)": "expat",
    "AF_UNIX SOCK_SEQPACKET": "SOCK_SEQPACKET",
    "libi2c, inih, Mini-XML": "C libraries",
    "libi2c, inih, pugixml, spdlog": "C++ libraries",
    "libi2c, inih, pugixml, spdlog, fmt": "C++ libraries",
    "the same with libstdc++, libgcc_s": "with libstdc++",
}


def picture(figures):
    def row(name):
        ratios = {SHORT_NAMES.get(peer, peer): ratio for peer, ratio in figures[name]["ratios"].items()}
        note = " · ".join(f"{peer} {times(ratio)}" for peer, ratio in sorted(ratios.items(), key=lambda each: each[1]))
        return PICTURE[name], None, ratios, note

    return Chart([row(name) for name in PICTURE], 220, 900).svg()


XML_DOCUMENTS = {"freedesktop": "freedesktop.org.xml, 2.4 MB", "iso_639-3": "iso_639-3.xml, 1.0 MB", "inventory": "inventory, 10 MB"}
XML_WAYS = {"read_compact_memory": "varnel, compact, from memory", "read_compact": "varnel, compact", "read": "varnel"}
XML_PEERS = {"pugixml": "pugixml", "expat (no tree)": "expat, no tree", "tinyxml2": "tinyxml2", "libxml2": "libxml2"}


def xml_times(figures, document):
    """What reading takes each, in times of pugixml. Our ways that were not measured are left out."""
    measured = {way: figures.get(f"xml.{way}.{document}") for way in XML_WAYS}
    ratios = measured["read"]["ratios"]
    ours = {XML_WAYS[way]: 1 / figure["ratios"]["pugixml"] for way, figure in measured.items() if figure}
    return ours | {name: ratios[peer] / ratios["pugixml"] for peer, name in XML_PEERS.items()}


def xml_picture(figures):
    """A bar for each library and each of our ways, document by document."""
    documents = {title: xml_times(figures, document) for document, title in XML_DOCUMENTS.items()}
    label_width, bar_width, row_height, width = 200, 480, 20, 760
    scale = bar_width / max(value for values in documents.values() for value in values.values())
    lines, y = [], 6
    for title, values in documents.items():
        y += 24
        lines.append(f'<text x="{label_width}" y="{y}" font-weight="bold">{html.escape(title)}</text>')
        y += 12
        for name, value in sorted(values.items(), key=lambda each: each[1]):
            side, length = "ahead" if name.startswith("varnel") else "peer", value * scale
            lines += [
                f'<text x="{label_width - 8}" y="{y + 11}" text-anchor="end">{html.escape(name)}</text>',
                f'<rect class="{side}" x="{label_width}" y="{y}" width="{length:.0f}" height="14"/>',
                f'<text x="{label_width + length + 6:.0f}" y="{y + 11}">{times(value)}</text>',
            ]
            y += row_height
    return svg_of(width, y + 10, "Time to read and free three documents, as multiples of pugixml's", lines)


def with_figures(page, figures):
    """A row keeps its first column, the text, and its last, the figure's id."""

    def filled(row):
        what, name = row[1], row[2]
        if name not in figures:
            sys.exit(f"figures.py: {page.name} names {name}, which bench/medians.json does not have")
        median, unit, ratios = (figures[name][key] for key in ("median", "unit", "ratios"))
        compared = "; ".join(f"{peer} {times(ratio)}" for peer, ratio in ratios.items())
        return f"| {what} | {number(median, isinstance(median, int))} {unit} | {compared} | `{name}` |"

    return ROW.sub(filled, page.read_text())


def stated():
    """The expected content of the pages, by file."""
    figures = json.loads((PROJECT / "bench/medians.json").read_text())["figures"]
    pages = [*PROJECT.glob("*.md"), *(PROJECT / "docs").glob("*.md")]
    pictures = {"figures.svg": picture(figures), "xml-speed.svg": xml_picture(figures)}
    return {page: with_figures(page, figures) for page in pages} | {PROJECT / "docs" / name: text for name, text in pictures.items()}


def differences(texts):
    for file, text in texts.items():
        there = file.read_text().splitlines() if file.exists() else []
        yield from difflib.unified_diff(there, text.splitlines(), str(file), "medians", lineterm="", n=0)


def main(check):
    texts = stated()
    if check:
        wrong = list(differences(texts))
        print(*wrong or ["the pages have the figures of bench/medians.json"], sep="\n")
        return bool(wrong)
    for file, text in texts.items():
        if not file.exists() or file.read_text() != text:
            file.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:] == ["--check"]))
