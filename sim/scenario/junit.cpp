// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/junit.h"

#include <algorithm>

#include <fmt/format.h>

#include "sim/scenario/markup.h"

namespace varnel::sim::scenario {

namespace {

/// What a test case contains; empty for one that was a success.
std::string content_of(const junit_case &of) {
    if (of.failed) {
        return fmt::format("    <failure message=\"{}\">{}</failure>\n", escaped(of.failed->message),
                           escaped(of.failed->details));
    }
    return of.skipped ? fmt::format("    <skipped message=\"{}\"/>\n", escaped(*of.skipped)) : "";
}

std::string text_of(const junit_case &of) {
    const std::string content = content_of(of);
    return fmt::format("  <testcase classname=\"varnel-sim\" name=\"{}\" time=\"{:.3f}\"{}", escaped(of.name),
                       of.time.count(),
                       content.empty() ? "/>\n" : fmt::format(">\n{}  </testcase>\n", content));
}

} // namespace

std::string junit_of(const std::string &suite, const std::vector<junit_case> &cases) {
    const auto failures =
        std::ranges::count_if(cases, [](const junit_case &each) { return each.failed.has_value(); });
    const auto skipped =
        std::ranges::count_if(cases, [](const junit_case &each) { return each.skipped.has_value(); });
    double time = 0;
    std::string all;
    for (const junit_case &each : cases) {
        time += each.time.count();
        all += text_of(each);
    }
    return fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<testsuite name=\"{}\" tests=\"{}\" failures=\"{}\" skipped=\"{}\" "
                       "time=\"{:.3f}\">\n{}</testsuite>\n",
                       escaped(suite), cases.size(), failures, skipped, time, all);
}

} // namespace varnel::sim::scenario
