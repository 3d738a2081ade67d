// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "varnel/xml.h"

namespace varnel::tools {

/// Names elements of a document, in the subset of XPath 1.0 that reads values out of files:
///
///     /fans/fan                 every fan in fans
///     /fans/fan[2]              the second fan of each fans
///     /fans/fan[@id="2"]/@speed the speed of the fan whose id is 2
class xml_path {
  public:
    /// Throws bad_usage.
    explicit xml_path(std::string_view text);

    /// The elements, in document order.
    [[nodiscard]] std::vector<const xml_node *> find(const xml_node *root) const;

    /// The attribute asked for; empty when the path names elements.
    [[nodiscard]] const std::string &attribute() const { return attribute_; }

  private:
    struct step {
        std::string name;
        unsigned int number = 0; ///< counted from 1; 0: any
        std::string attribute;   ///< that must have the value; empty: any
        std::string value;
    };

    static step read_step(std::string_view text);
    static void read_condition(std::string_view text, step &into);
    static void add_matches(const xml_node &parent, const step &wanted, std::vector<const xml_node *> &found);

    std::vector<step> steps_;
    std::string attribute_;
};

} // namespace varnel::tools
