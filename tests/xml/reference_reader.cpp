// SPDX-License-Identifier: Apache-2.0
#include "xml/reference_reader.h"

#include <cctype>
#include <cstring>

namespace varnel::test {

namespace {

constexpr int end = -256;

bool blank(int c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }
bool letter(int c) { return c >= 0 && c <= 255 && isalpha(c) != 0; }
bool digit(int c) { return c >= '0' && c <= '9'; }
bool name_character(int c) { return letter(c) || digit(c) || c == '-' || c == '_' || c == ':'; }

std::string up_to_zero_byte(const std::string &s) { return s.c_str(); }

struct reading {
    xml_refiller &r;
    model_document &doc;
    bool raw;

    int get() {
        const int c = reference_get_char(r);
        if (c == '\n') {
            ++doc.line;
        }
        return c;
    }

    void push_back(int c) {
        r.pushed = c;
        if (c == '\n') {
            --doc.line; // it will be counted when it is consumed again
        }
    }

    /// The entity at the end of `collected`, which begins at `ampersand`. False for one that is too short.
    bool decode(std::string &collected, size_t ampersand, bool in_text) {
        const int n = static_cast<int>(collected.size() - (ampersand + 1)) - 1;
        if (n < 1) {
            doc.status = 13;
            return false;
        }
        const struct {
            const char *name;
            char character;
        } known[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
        for (const auto &k : known) {
            if (strncmp(collected.c_str() + ampersand + 1, k.name, static_cast<size_t>(n)) == 0) {
                collected.resize(ampersand);
                collected += k.character;
                return true;
            }
        }
        if (!in_text) {
            collected.resize(ampersand);
        }
        collected += ';';
        return true;
    }

    int read_name(model_node &node) {
        std::string name;
        for (;;) {
            const int c = get();
            if (c == end) {
                doc.status = r.error != 0 ? r.error : 8;
                return doc.status;
            }
            if (name.empty() && !letter(c)) {
                doc.status = 4;
                return 4;
            }
            if (c == ' ' || c == '>' || c == '\r' || c == '/' || c == '\n' || c == '\t') {
                push_back(c);
                node.name = name;
                return 0;
            }
            if (!name_character(c)) {
                doc.status = 4;
                return 4;
            }
            name += static_cast<char>(c);
            if (name.size() == 128) {
                doc.status = 8;
                return 8;
            }
        }
    }

    int read_attribute(model_attribute &attribute) {
        enum {
            before_name,
            in_name,
            after_name,
            before_value,
            in_value,
            in_entity,
            closed
        } state = before_name;
        std::string name;
        std::string value;
        int quote = 0;
        size_t ampersand = 0;
        bool stop = false;
        while (!stop && state != closed && name.size() <= 128 && value.size() <= 256) {
            const int c = get();
            if (c == end) {
                break;
            }
            switch (state) {
            case before_name:
                if (c == '/' || c == '>') {
                    return 0;
                }
                if (letter(c)) {
                    name += static_cast<char>(c);
                    state = in_name;
                } else if (!blank(c)) {
                    doc.status = 5;
                    stop = true;
                }
                break;
            case in_name:
                if (name_character(c)) {
                    name += static_cast<char>(c);
                } else if (blank(c)) {
                    state = after_name;
                } else if (c == '=') {
                    state = before_value;
                } else {
                    doc.status = 6;
                    stop = true;
                }
                break;
            case after_name:
                if (c == '=') {
                    state = before_value;
                } else if (!blank(c)) {
                    doc.status = 6;
                    stop = true;
                }
                break;
            case before_value:
                if (c == '"' || c == '\'') {
                    quote = c;
                    state = in_value;
                } else if (!blank(c)) {
                    doc.status = 6;
                    stop = true;
                }
                break;
            case in_value:
                if (c == quote) {
                    state = closed;
                } else {
                    if (c == '&' && !raw) {
                        ampersand = value.size();
                        state = in_entity;
                    }
                    value += static_cast<char>(c);
                }
                break;
            case in_entity:
                if (c == quote) {
                    state = closed;
                } else if (c == ';') {
                    stop = !decode(value, ampersand, false);
                    state = in_value;
                } else if (letter(c)) {
                    value += static_cast<char>(c);
                } else {
                    doc.status = 12;
                    stop = true;
                }
                break;
            case closed:
                break;
            }
        }
        if (doc.status != 0) {
            return doc.status;
        }
        if (state == closed) {
            attribute.name = up_to_zero_byte(name);
            attribute.value = up_to_zero_byte(value);
            return 0;
        }
        doc.status = name.size() > 128 ? 9 : value.size() > 256 ? 10 : 6;
        return doc.status;
    }

    void store_body(model_node &node, const std::string &body) {
        if (r.error != 0) {
            doc.status = r.error;
        } else {
            node.value = body;
        }
    }

    void read_instruction_body(model_node &node) {
        std::string body;
        int c = get();
        while (c != end) {
            if (c == '?') {
                c = get();
                if (c == '>') {
                    break;
                }
                body += '?';
                continue; // with this character
            }
            if (c != ' ' || !body.empty()) {
                body += static_cast<char>(c);
            }
            c = get();
        }
        store_body(node, body);
    }

    void read_comment_body(model_node &node) {
        std::string body;
        int c = get();
        while (c != end) {
            if (c != '-') {
                body += static_cast<char>(c);
                c = get();
                continue;
            }
            c = get();
            if (c != '-') {
                body += '-';
                continue;
            }
            c = get();
            if (c == '>') {
                break;
            }
            body += c == end ? "--" : "-";
        }
        store_body(node, body);
    }

    void read_declaration_body(model_node &node) {
        std::string body;
        for (int c = get(); c != '>' && c != end; c = get()) {
            if (!blank(c) || !body.empty()) {
                body += static_cast<char>(c);
            }
        }
        store_body(node, body);
    }

    void read_text(model_node &node) {
        std::string text;
        bool in_entity = false;
        size_t ampersand = 0;
        for (;;) {
            const int c = get();
            if (c == '<' || c == end) {
                if (c == '<') {
                    push_back(c);
                }
                if (in_entity) {
                    doc.status = 12;
                    return;
                }
                break;
            }
            if (in_entity && c == '&') {
                doc.status = 12;
                return;
            }
            if (in_entity && c == ';') {
                if (!decode(text, ampersand, true)) {
                    return;
                }
                in_entity = false;
                continue;
            }
            if (c == '&' && !raw) {
                in_entity = true;
                ampersand = text.size();
            }
            text += static_cast<char>(c);
        }
        while (!text.empty() && (text.back() == '\t' || (text.back() == ' ' && text.size() > 1))) {
            text.pop_back();
        }
        store_body(node, text);
    }

    void merge_single_text(model_node &parent) {
        size_t texts = 0;
        size_t at = 0;
        for (size_t i = 0; i < parent.children.size(); ++i) {
            if (parent.children[i]->kind == xml_kind_text) {
                ++texts;
                at = i;
            }
        }
        if (texts == 1) {
            parent.value = parent.children[at]->value;
            parent.children.erase(parent.children.begin() + static_cast<std::ptrdiff_t>(at));
            --doc.node_count;
        }
    }

    int read_end_tag(model_node &parent) {
        std::string name;
        int c = get();
        while (c != '>' && c != end && name.size() < 128) {
            name += static_cast<char>(c);
            c = get();
        }
        if (c != '>' && c != end) {
            doc.status = 8;
        } else if (c != '>' || !parent.name || up_to_zero_byte(name) != *parent.name) {
            doc.status = 11;
        }
        merge_single_text(parent);
        return 0;
    }

    int end_of_input() {
        if (r.error != 0) {
            doc.status = r.error;
        }
        return r.error;
    }

    /// 0 when the node was attached; then reading goes on.
    int attach(model_node &parent, std::unique_ptr<model_node> node) {
        if (r.error != 0) {
            doc.status = r.error;
            return r.error;
        }
        parent.children.push_back(std::move(node));
        ++doc.node_count;
        return 0;
    }

    int read_element(model_node &parent) {
        auto element = std::make_unique<model_node>();
        if (read_name(*element) == 0) {
            std::vector<model_attribute> attributes;
            do {
                attributes.emplace_back();
                read_attribute(attributes.back());
            } while (doc.status == 0 && attributes.back().name);
            if (r.error == 0) {
                element->attributes = attributes;
            } else {
                doc.status = r.error;
            }
            const int c = get();
            if (c != '>' && r.error == 0) {
                push_back(c);
                read_nodes(*element);
            }
        }
        return attach(parent, std::move(element));
    }

    int read_simple(model_node &parent, int kind, void (reading::*body)(model_node &)) {
        auto node = std::make_unique<model_node>();
        node->kind = kind;
        const bool named = kind == xml_kind_processing_instruction || kind == xml_kind_declaration;
        if (!named || read_name(*node) == 0) {
            (this->*body)(*node);
        }
        return attach(parent, std::move(node));
    }

    int read_nodes(model_node &parent) {
        enum { content, tag, bang, comment } state = content;
        for (;;) {
            const int c = get();
            if (c == end) {
                return end_of_input();
            }
            int failed = 0;
            switch (state) {
            case content:
                if (c == '<') {
                    state = tag;
                } else if (!blank(c)) {
                    push_back(c);
                    failed = read_simple(parent, xml_kind_text, &reading::read_text);
                }
                break;
            case tag:
                state = content;
                if (c == '/') {
                    return read_end_tag(parent);
                }
                if (c == '!') {
                    state = bang;
                } else if (c == '?') {
                    failed =
                        read_simple(parent, xml_kind_processing_instruction, &reading::read_instruction_body);
                } else if (letter(c)) {
                    push_back(c);
                    failed = read_element(parent);
                } else {
                    doc.status = 4;
                    return read_end_tag(parent);
                }
                break;
            case bang:
                state = content;
                if (c == '-') {
                    state = comment;
                } else if (letter(c)) {
                    push_back(c);
                    failed = read_simple(parent, xml_kind_declaration, &reading::read_declaration_body);
                } else {
                    doc.status = 4;
                    return read_end_tag(parent);
                }
                break;
            case comment:
                state = content;
                if (c != '-') {
                    doc.status = 4;
                    return read_end_tag(parent);
                }
                failed = read_simple(parent, xml_kind_comment, &reading::read_comment_body);
                break;
            }
            if (failed != 0) {
                return failed;
            }
        }
    }
};

} // namespace

int reference_get_char(xml_refiller &r) {
    if (r.pushed != -256) {
        const int c = r.pushed;
        r.pushed = -256;
        return c;
    }
    if (r.position >= r.fill) {
        if (r.refill == nullptr) {
            return end;
        }
        r.refill(&r);
        if (r.error != 0 || r.fill == 0) {
            return end;
        }
    }
    const auto byte = static_cast<unsigned char>(r.buffer[r.position]);
    ++r.position;
    return byte;
}

int reference_node_read(xml_refiller &r, model_node &parent, model_document &doc, unsigned flags) {
    return reading{r, doc, (flags & 8) != 0}.read_nodes(parent);
}

int reference_attribute_read(xml_refiller &r, model_attribute &attribute, model_document &doc,
                             unsigned flags) {
    return reading{r, doc, (flags & 8) != 0}.read_attribute(attribute);
}

} // namespace varnel::test
