// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/report.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tools/varnel/json_text.h"

namespace varnel::tools {

void report::add(const std::string &name, const std::string &text, const std::string &key, json value) {
    lines_.emplace_back(name, text);
    add(key, std::move(value));
}

void report::add(const std::string &key, json value) { object_[key] = std::move(value); }

std::string report::text(const invocation &call) const {
    if (call.json) {
        return json_text(object_);
    }
    std::size_t width = 0;
    for (const auto &[name, value] : lines_) {
        width = std::max(width, name.size());
    }
    std::string all;
    for (const auto &[name, value] : lines_) {
        all += fmt::format("{:{}}  {}\n", name, width, value);
    }
    return all;
}

std::string table::text() const {
    std::vector<std::size_t> widths(rows_[0].size());
    for (const auto &row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string all;
    for (const auto &row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += fmt::format("{:{}}  ", row[i], widths[i]);
        }
        all += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return all;
}

} // namespace varnel::tools
