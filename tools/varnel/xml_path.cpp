// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/xml_path.h"

#include <exception>
#include <utility>

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/numbers.h"

namespace varnel::tools {

namespace {

/// Not a path; the caller says which.
class not_a_step : public std::exception {};

std::string name_from(std::string_view text) {
    if (text.empty() || text.find_first_of("/[]@='\" ") != std::string_view::npos) {
        throw not_a_step();
    }
    return std::string(text);
}

std::string unquoted(std::string_view text) {
    const bool quoted =
        text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
    if (!quoted) {
        throw not_a_step();
    }
    return std::string(text.substr(1, text.size() - 2));
}

unsigned int number_from(std::string_view text) {
    const unsigned int number = host::whole_number<unsigned int>(text).value_or(0);
    return number != 0 ? number : throw not_a_step();
}

/// Where the step that begins here ends: at the next / outside of quotes.
std::size_t end_of_step(std::string_view text) {
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (quote != '\0') {
            quote = text[i] == quote ? '\0' : quote;
        } else if (text[i] == '"' || text[i] == '\'') {
            quote = text[i];
        } else if (text[i] == '/') {
            return i;
        }
    }
    return text.size();
}

bool is_named(const xml_node &node, std::string_view name) {
    return node.kind == xml_kind_element && node.name != nullptr && name == node.name;
}

bool has_attribute(const xml_node &node, const std::string &name, std::string_view value) {
    const char *const found = xml_node_get_attribute_value(&node, name.c_str());
    return found != nullptr && value == found;
}

} // namespace

xml_path::xml_path(std::string_view text) {
    try {
        std::string_view rest = text;
        while (!rest.empty()) {
            if (rest.front() != '/' || !attribute_.empty()) {
                throw not_a_step();
            }
            rest.remove_prefix(1);
            const std::string_view one = rest.substr(0, end_of_step(rest));
            rest.remove_prefix(one.size());
            if (one.starts_with('@')) {
                attribute_ = name_from(one.substr(1));
            } else {
                steps_.push_back(read_step(one));
            }
        }
        if (steps_.empty()) {
            throw not_a_step();
        }
    } catch (const not_a_step &) {
        throw host::bad_usage(fmt::format("not a path, such as /fans/fan[2]/@speed: '{}'", text));
    }
}

xml_path::step xml_path::read_step(std::string_view text) {
    const std::size_t bracket = text.find('[');
    step read{name_from(text.substr(0, bracket)), 0, "", ""};
    if (bracket != std::string_view::npos) {
        if (text.back() != ']') {
            throw not_a_step();
        }
        read_condition(text.substr(bracket + 1, text.size() - bracket - 2), read);
    }
    return read;
}

void xml_path::read_condition(std::string_view text, step &into) {
    const std::size_t equals = text.find('=');
    if (!text.starts_with('@')) {
        into.number = number_from(text);
    } else if (equals == std::string_view::npos) {
        throw not_a_step();
    } else {
        into.attribute = name_from(text.substr(1, equals - 1));
        into.value = unquoted(text.substr(equals + 1));
    }
}

void xml_path::add_matches(const xml_node &parent, const step &wanted, std::vector<const xml_node *> &found) {
    unsigned int number = 0;
    for (const xml_node *child = parent.first_child; child != nullptr; child = child->next) {
        if (!is_named(*child, wanted.name)) {
            continue;
        }
        ++number;
        const bool counted = wanted.number == 0 || wanted.number == number;
        if (counted && (wanted.attribute.empty() || has_attribute(*child, wanted.attribute, wanted.value))) {
            found.push_back(child);
        }
    }
}

std::vector<const xml_node *> xml_path::find(const xml_node *root) const {
    std::vector<const xml_node *> found{root};
    for (const step &wanted : steps_) {
        std::vector<const xml_node *> deeper;
        for (const xml_node *parent : found) {
            add_matches(*parent, wanted, deeper);
        }
        found = std::move(deeper);
    }
    return found;
}

} // namespace varnel::tools
