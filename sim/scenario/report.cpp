// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/report.h"

#include <algorithm>

#include <fmt/format.h>

namespace varnel::sim::scenario {

namespace {

std::string section_of(const char *name, const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += fmt::format("  {:10}{}\n", text.empty() ? name : "", line);
    }
    return text;
}

std::string details_of(const failed_step &failure) {
    return section_of("expected", {failure.expected}) + section_of("came", {failure.came}) +
           section_of("printed", failure.printed) + section_of("trace", failure.trace);
}

/// Text as it may stand in XML: markup escaped; characters that XML does not have are a question mark.
std::string escaped(const std::string &text) {
    std::string to;
    for (const char each : text) {
        switch (each) {
        case '&':
            to += "&amp;";
            break;
        case '<':
            to += "&lt;";
            break;
        case '>':
            to += "&gt;";
            break;
        case '"':
            to += "&quot;";
            break;
        default:
            to += static_cast<unsigned char>(each) < ' ' && each != '\n' && each != '\t' ? '?' : each;
        }
    }
    return to;
}

std::string test_case(const result &of) {
    std::string text = fmt::format("  <testcase classname=\"varnel-sim\" name=\"{}\" time=\"{:.3f}\"",
                                   escaped(of.file), of.time.count());
    if (!of.failure) {
        return text + "/>\n";
    }
    return text + fmt::format(">\n    <failure message=\"line {}: {}\">{}</failure>\n  </testcase>\n",
                              of.failure->line, escaped(of.failure->step), escaped(details_of(*of.failure)));
}

} // namespace

std::string text_of(const result &of) {
    if (!of.failure) {
        return fmt::format("ok    {}: {} ({:.1f} s)\n", of.file, of.title, of.time.count());
    }
    return fmt::format("FAIL  {}:{}: {}\n{}", of.file, of.failure->line, of.failure->step,
                       details_of(*of.failure));
}

std::string junit_of(const std::vector<result> &results) {
    const auto failures =
        std::ranges::count_if(results, [](const result &each) { return each.failure.has_value(); });
    double time = 0;
    std::string cases;
    for (const result &each : results) {
        time += each.time.count();
        cases += test_case(each);
    }
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<testsuite name=\"varnel-sim test\" tests=\"{}\" failures=\"{}\" time=\"{:.3f}\">\n{}</testsuite>\n",
        results.size(), failures, time, cases);
}

} // namespace varnel::sim::scenario
