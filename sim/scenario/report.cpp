// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/report.h"

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

} // namespace

std::string text_of(const result &of) {
    if (!of.failure) {
        return fmt::format("ok    {}: {} ({:.1f} s)\n", of.file, of.title, of.time.count());
    }
    return fmt::format("FAIL  {}:{}: {}\n{}", of.file, of.failure->line, of.failure->step,
                       details_of(*of.failure));
}

junit_case junit_case_of(const result &of) {
    junit_case made{of.file, of.time};
    if (of.failure) {
        made.failed = {fmt::format("line {}: {}", of.failure->line, of.failure->step),
                       details_of(*of.failure)};
    }
    return made;
}

} // namespace varnel::sim::scenario
