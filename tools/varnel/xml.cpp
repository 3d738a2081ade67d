// SPDX-License-Identifier: Apache-2.0
// varnel xml: documents as the library reads and writes them.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <vector>

#include <fmt/format.h>

#include "host/input_file.h"
#include "host/options.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/report.h"
#include "tools/varnel/text_input.h"
#include "tools/varnel/verb.h"
#include "tools/varnel/xml_input.h"
#include "tools/varnel/xml_path.h"

namespace varnel::tools {

namespace {

xml_text read_file(const std::string &file, unsigned int flags) {
    const input_file opened(file);
    errno = 0;
    xml_text text = read_xml(opened.get(), flags);
    if (text.status == xml_status_input_failed) {
        throw std::system_error(errno, std::generic_category(), shown_name(file));
    }
    return text;
}

std::string complaint(const std::string &file, const xml_text &text) {
    return fmt::format("{}:{}: {} (status {})", shown_name(file), text.line, xml_meaning(text.status),
                       text.status);
}

/// A document without errors: one with any is a ruin.
xml_document_owner read_good_file(const std::string &file, unsigned int flags) {
    xml_text text = read_file(file, flags);
    if (text.status != 0) {
        throw failed(complaint(file, text));
    }
    return std::move(text.document);
}

// --- check ---

int check(const std::string &file, const invocation &call) {
    const xml_text text = read_file(file, 0);
    const std::string meaning = xml_meaning(text.status);
    if (call.json) {
        print(json_text({{"file", file},
                         {"status", text.status},
                         {"meaning", meaning},
                         {"line", text.line},
                         {"nodes", text.document->node_count}}));
    } else if (text.status == 0) {
        print(fmt::format("{}: {}, {} nodes\n", shown_name(file), meaning, text.document->node_count));
    } else {
        throw failed(complaint(file, text));
    }
    return text.status == 0 ? success : failure;
}

// --- format ---

/// The writer's flags for --indent none, space, three and tab.
constexpr unsigned int indentations[] = {0, xml_flag_indent, xml_flag_indent | xml_flag_three_spaces,
                                         xml_flag_indent | xml_flag_tabs};

void format(const std::string &file, unsigned int flags) {
    const xml_document_owner document = read_good_file(file, flags & xml_flag_raw);
    errno = 0;
    xml_write_file(document.get(), stdout, flags);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
}

// --- get ---

std::string value_of(const xml_node &node) {
    const std::size_t length = node.value_length != 0  ? node.value_length
                               : node.value != nullptr ? std::strlen(node.value)
                                                       : 0;
    return {node.value, length};
}

/// The text of an element. Where there are several pieces they stand among its children.
std::string text_of(const xml_node &element) {
    std::string text = element.value != nullptr ? value_of(element) : "";
    for (const xml_node *child = element.first_child; child != nullptr; child = child->next) {
        if (child->kind == xml_kind_text && child->value != nullptr) {
            text += value_of(*child);
        }
    }
    return text;
}

std::string path_of(const xml_node &node) {
    const std::unique_ptr<char, decltype(&std::free)> path(xml_node_get_path_new(&node), std::free);
    return path ? path.get() : throw std::bad_alloc();
}

/// The last of several attributes of one name counts. A JSON object looks for each new name among all that it
/// has; here each is looked up in a map.
json attributes_as_json(const xml_node &element) {
    json attributes = json::object();
    auto &members = attributes.get_ref<json::object_t &>();
    std::unordered_map<std::string_view, std::size_t> places;
    for (const xml_attribute *each = element.attributes; each != nullptr; each = each->next) {
        if (each->name == nullptr) {
            continue;
        }
        const auto [found, is_new] = places.try_emplace(each->name, members.size());
        const char *const value = each->value != nullptr ? each->value : "";
        if (is_new) {
            members.emplace_back(each->name, value);
        } else {
            std::next(members.begin(), static_cast<std::ptrdiff_t>(found->second))->second = value;
        }
    }
    return attributes;
}

json element_as_json(const xml_node &element) {
    return {
        {"path", path_of(element)}, {"text", text_of(element)}, {"attributes", attributes_as_json(element)}};
}

/// What the path names: elements, or the attribute of those that have it.
json found_values(const std::vector<const xml_node *> &elements, const std::string &attribute,
                  std::string &lines) {
    json all = json::array();
    for (const xml_node *element : elements) {
        if (attribute.empty()) {
            lines += text_of(*element) + '\n';
            all.push_back(element_as_json(*element));
        } else if (const char *value = xml_node_get_attribute_value(element, attribute.c_str())) {
            lines += fmt::format("{}\n", value);
            all.push_back({{"path", path_of(*element)}, {"attribute", attribute}, {"value", value}});
        }
    }
    return all;
}

void get(const std::string &path, const std::string &file, const invocation &call) {
    const xml_path wanted(path);
    const xml_document_owner document = read_good_file(file, 0);
    std::string lines;
    const json all = found_values(wanted.find(document->root), wanted.attribute(), lines);
    if (all.empty()) {
        throw failed(fmt::format("{}: no {}", shown_name(file), path));
    }
    print(call.json ? json_text(all) : lines);
}

struct options {
    std::string path;
    std::string file;
    std::size_t indentation = 2; ///< place among the flags for --indent: three
    bool raw = false;
};

void add_document(const added_verb<options> &verb) {
    verb.parser.add_option("FILE", verb.given.file, "the document; - is standard input").required();
}

} // namespace

void add_xml(argument_parser app, invocation &call) {
    verbs<options> xml(app, call, "xml", "XML documents, as the library reads and writes them");

    const auto checking =
        xml.add("check", "Check a document; report the first error and its line",
                [](auto &asked, const options &given) { asked.status = check(given.file, asked); });
    add_document(checking);
    add_json(checking.parser, call);

    const auto formatting =
        xml.add("format", "Print a document, laid out by the library's writer", [](const options &given) {
            format(given.file, indentations[given.indentation] | (given.raw ? unsigned{xml_flag_raw} : 0U));
        });
    add_document(formatting);
    add_choice(formatting.parser, "--indent", formatting.given.indentation, {"none", "space", "three", "tab"},
               "for each level; space is one space, three is three (default)");
    formatting.parser.add_flag("--raw", formatting.given.raw, "leave & and entities as they are");

    const auto getting =
        xml.add("get", "Print texts or attributes, one a line",
                [](const auto &asked, const options &given) { get(given.path, given.file, asked); });
    getting.parser
        .add_option("PATH", getting.given.path,
                    "such as /fans/fan, /fans/fan[2], '/fans/fan[@id=\"2\"]/@speed'")
        .required();
    add_document(getting);
    add_json(getting.parser, call);
}

} // namespace varnel::tools
