// SPDX-License-Identifier: Apache-2.0
#include "sim/campaign/html.h"

#include <algorithm>

#include <fmt/format.h>

#include "sim/scenario/markup.h"

namespace varnel::sim::campaign {

namespace {

using scenario::escaped;

constexpr const char *style = R"(<style>
:root { color-scheme: light dark; --text: #1b1b1b; --page: #fff; --line: #767676; --good: #d9f0dc; --bad: #a3001b; --on-bad: #fff; }
@media (prefers-color-scheme: dark) {
  :root { --text: #eee; --page: #16181c; --line: #8c8c8c; --good: #1f4427; --bad: #ff8a95; --on-bad: #240005; }
}
body { font: 1rem/1.5 system-ui, sans-serif; color: var(--text); background: var(--page); margin: 1.5rem; }
a { color: inherit; }
a:focus-visible, [tabindex]:focus-visible { outline: 3px solid #2f7de1; outline-offset: 2px; }
code, .matrix { font-family: ui-monospace, monospace; }
caption { text-align: left; padding-block: .5rem; }
table { border-collapse: collapse; }
th, td { border: 1px solid var(--line); padding: .1rem .5rem; text-align: left; vertical-align: top; }
.matrix { overflow-x: auto; font-size: .875rem; }
.matrix td { text-align: center; white-space: nowrap; }
.matrix tbody th { font-weight: normal; white-space: nowrap; }
.matrix thead th { position: sticky; top: 0; background: var(--page); writing-mode: vertical-rl; }
.matrix thead th:first-child { writing-mode: initial; vertical-align: bottom; }
.good { background: var(--good); }
.bad { background: var(--bad); color: var(--on-bad); font-weight: bold; }
.for-readers { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); white-space: nowrap; }
tr:target { outline: 3px solid #2f7de1; }
</style>
)";

/// The anchor of a bad run.
std::string anchor_of(const judged &result) { return "run-" + name_of(result.of); }

/// One of the two marks of a cell; a bad run's leads to what is known about it.
std::string mark_of(const matrix &all, uint64_t transfer, fault_kind kind, bool stays) {
    const outcome known = all.at(transfer, kind, stays);
    const char *const when = stays ? "from then on" : "once";
    if (known == outcome::none) {
        return "<span aria-hidden=\"true\">&nbsp;</span>";
    }
    if (known == outcome::good) {
        return fmt::format("<span aria-hidden=\"true\">&middot;</span>"
                           "<span class=\"for-readers\">{}: good</span>",
                           when);
    }
    const judged &bad = *all.find(transfer, kind, stays);
    const std::string label = escaped(fmt::format("{}: {}", name_of(bad.of), bad.verdict));
    return fmt::format("<a href=\"#{}\" title=\"{}\" aria-label=\"{}\">&times;</a>", escaped(anchor_of(bad)),
                       label, label);
}

std::string cell_of(const matrix &all, uint64_t transfer, fault_kind kind) {
    const outcome worst = std::max(all.at(transfer, kind, false), all.at(transfer, kind, true));
    if (worst == outcome::none) {
        return "<td></td>";
    }
    return fmt::format("<td class=\"{}\">{} {}</td>", worst == outcome::bad ? "bad" : "good",
                       mark_of(all, transfer, kind, false), mark_of(all, transfer, kind, true));
}

std::string head_of_matrix() {
    std::string head = "<thead>\n<tr><th scope=\"col\">Transfer</th>";
    for (const fault_facts &fault : fault_kinds()) {
        head += fmt::format("<th scope=\"col\"><abbr title=\"{}\">{}</abbr></th>", escaped(fault.effect),
                            escaped(fault.name));
    }
    return head + "</tr>\n</thead>\n";
}

std::string matrix_of(const std::vector<judged> &results) {
    const matrix all(results);
    std::string text =
        "<div class=\"matrix\" role=\"region\" aria-labelledby=\"what\" tabindex=\"0\">\n<table>\n"
        "<caption id=\"what\">Transfers and kinds of fault: &middot; good, &times; bad, once and from "
        "then on; empty: not tried, or without effect</caption>\n" +
        head_of_matrix() + "<tbody>\n";
    for (const auto &[transfer, place] : all.transfers()) {
        text += fmt::format("<tr><th scope=\"row\">{} {}</th>", transfer, escaped(place));
        for (const fault_facts &fault : fault_kinds()) {
            text += cell_of(all, transfer, fault.kind);
        }
        text += "</tr>\n";
    }
    return text + "</tbody>\n</table>\n</div>\n";
}

std::string places_of(const trial &of) {
    return of.first.place + (of.second ? ", then " + of.second->place : "");
}

std::string bad_runs_of(const page_texts &texts, const std::vector<judged> &results) {
    std::string rows;
    for (const judged &each : results) {
        if (!each.verdict.empty()) {
            rows +=
                fmt::format("<tr id=\"{}\"><th scope=\"row\">{}</th><td>{}</td><td>{}</td>"
                            "<td><code>{}</code></td></tr>\n",
                            escaped(anchor_of(each)), escaped(name_of(each.of)), escaped(places_of(each.of)),
                            escaped(each.verdict), escaped(texts.repetition(each)));
        }
    }
    if (rows.empty()) {
        return "<p>No run was bad.</p>\n";
    }
    return "<table>\n<thead>\n<tr><th scope=\"col\">Run</th><th scope=\"col\">Where</th>"
           "<th scope=\"col\">The program</th><th scope=\"col\">Again</th></tr>\n</thead>\n<tbody>\n" +
           rows + "</tbody>\n</table>\n";
}

} // namespace

std::string html_of(const page_texts &texts, const std::vector<judged> &results) {
    const std::string program = escaped(texts.program);
    return fmt::format("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>Faults: {}</title>\n{}</head>\n<body>\n<main>\n<h1>Faults on the bus of "
                       "<code>{}</code></h1>\n<p>{}</p>\n<h2>By transfer and kind</h2>\n{}"
                       "<h2 id=\"bad\">Bad runs</h2>\n{}</main>\n</body>\n</html>\n",
                       program, style, program, escaped(texts.summary), matrix_of(results),
                       bad_runs_of(texts, results));
}

} // namespace varnel::sim::campaign
