// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "host/json.h"
#include "host/standard_streams.h"
#include "tools/varnel/commands.h"

namespace varnel::tools {

using json = nlohmann::ordered_json;

/// Readings, one a line, as people and as programs like them.
class report {
  public:
    /// `name  text`, and a member of the JSON object: a bare value whose name carries its unit.
    void add(const std::string &name, const std::string &text, const std::string &key, json value);
    /// For people alone.
    void add_line(const std::string &name, const std::string &text) { lines_.emplace_back(name, text); }
    /// For JSON alone.
    void add(const std::string &key, json value);

    /// The lines or, with --json, the object, with a newline at the end.
    [[nodiscard]] std::string text(const invocation &call) const;

  private:
    std::vector<std::pair<std::string, std::string>> lines_ = {};
    json object_ = json::object();
};

/// Rows under headings, columns aligned, each as wide as it must be.
class table {
  public:
    explicit table(std::vector<std::string> headings) : rows_{std::move(headings)} {}
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    [[nodiscard]] std::string text() const;

  private:
    std::vector<std::vector<std::string>> rows_;
};

} // namespace varnel::tools
