// SPDX-License-Identifier: Apache-2.0
#include "xml/model.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace varnel::test {

namespace {

std::string in_quotes(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += {'\\', c};
        } else if (c == '\n') {
            result += "\\n";
        } else if (c >= 0x20 && c < 0x7F) {
            result += c;
        } else {
            char code[8];
            (void)snprintf(code, sizeof code, "\\x%02X",
                           static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += code;
        }
    }
    return result + '"';
}

std::string prefix(int kind) {
    switch (kind) {
    case xml_kind_element:
        return "";
    case xml_kind_comment:
        return "#";
    case xml_kind_processing_instruction:
        return "?";
    case xml_kind_declaration:
        return "!";
    case xml_kind_text:
        return "T";
    case xml_kind_document:
        return "DOC";
    default:
        return "kind" + std::to_string(kind);
    }
}

bool has_name(int kind) {
    return kind == xml_kind_element || kind == xml_kind_processing_instruction ||
           kind == xml_kind_declaration;
}

struct summary {
    int kind;
    std::optional<std::string> name;
    std::optional<std::string> value;
    std::vector<model_attribute> attributes;
};

std::string dump_attributes(const std::vector<model_attribute> &attributes) {
    std::string result;
    for (const model_attribute &a : attributes) {
        result += result.empty() ? "" : " ";
        result += a.name ? *a.name : "~";
        result += a.value ? "=" + in_quotes(*a.value) : "";
    }
    return result.empty() ? "" : "[" + result + "]";
}

std::string dump_summary(const summary &of) {
    std::string result = prefix(of.kind);
    if (has_name(of.kind)) {
        result += of.name ? *of.name : "~";
    } else if (of.name) {
        result += "NAMED:" + *of.name;
    }
    result += dump_attributes(of.attributes);
    if (of.value) {
        result += (of.kind == xml_kind_text || of.kind == xml_kind_comment ? "" : "=") + in_quotes(*of.value);
    }
    return result;
}

std::optional<std::string> optional_string(const char *s) {
    return s != nullptr ? std::optional<std::string>(s) : std::nullopt;
}

std::optional<std::string> value_of(const xml_node &node) {
    if (node.value == nullptr || node.value_length == 0) {
        return optional_string(node.value);
    }
    std::string value(node.value, node.value_length);
    return node.value[node.value_length] == '\0' ? value : value + std::string(broken) + " terminator";
}

std::vector<model_attribute> attributes_of(const xml_node &node) {
    std::vector<model_attribute> result;
    for (const xml_attribute *a = node.attributes; a != nullptr; a = a->next) {
        result.push_back({optional_string(a->name), optional_string(a->value)});
    }
    return result;
}

std::string joined(const std::vector<std::string> &parts) {
    std::string result;
    for (const std::string &part : parts) {
        result += (result.empty() ? "" : " ") + part;
    }
    return result;
}

std::string with_children(std::string node, const std::string &children) {
    return children.empty() ? node : node + "{" + children + "}";
}

std::string document_line(const std::string &tree, int status, unsigned count, unsigned line) {
    return tree + " | status " + std::to_string(status) + " count " + std::to_string(count) + " line " +
           std::to_string(line);
}

} // namespace

std::string dump_children(const model_node &node) {
    std::vector<std::string> parts;
    for (const auto &child : node.children) {
        parts.push_back(dump(*child));
    }
    return joined(parts);
}

std::string dump(const model_node &node) {
    return with_children(dump_summary({node.kind, node.name, node.value, node.attributes}),
                         dump_children(node));
}

std::string dump_children(const xml_node &node) {
    std::vector<std::string> parts;
    const xml_node *last = nullptr;
    for (const xml_node *child = node.first_child; child != nullptr; child = child->next) {
        std::string part = dump(*child);
        if (child->parent != &node) {
            part.append(broken).append(" parent");
        }
        if (child->previous != last) {
            part.append(broken).append(" previous");
        }
        parts.push_back(part);
        last = child;
    }
    if (node.last_child != last) {
        parts.push_back(std::string(broken) + " last_child");
    }
    return joined(parts);
}

std::string dump(const xml_node &node) {
    return with_children(
        dump_summary({node.kind, optional_string(node.name), value_of(node), attributes_of(node)}),
        dump_children(node));
}

std::string dump(const model_document &document) {
    return document_line(dump(document.root), document.status, document.node_count, document.line);
}

std::string dump(const xml_document &document) {
    return document_line(dump(*document.root), document.status, document.node_count, document.line);
}

} // namespace varnel::test
