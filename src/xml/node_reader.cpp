// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_reader.h"

#include <array>
#include <cstring>

#include "xml/attribute_reader.h"
#include "xml/body_reader.h"
#include "xml/character.h"
#include "xml/input.h"
#include "xml/memory.h"
#include "xml/name_reader.h"

namespace varnel::xml {

namespace {

constexpr size_t end_tag_limit = 128;

/// A parent whose content has been read up to its end tag takes over its text when that is its only one.
void merge_single_text(xml_node &parent, xml_document &document) {
    xml_node *text = nullptr;
    xml_node *before = nullptr; // the sibling before `text`
    xml_node *last = nullptr;   // the last child but for `text`
    for (xml_node *child = parent.first_child; child != nullptr; child = child->next) {
        if (child->kind != xml_kind_text) {
            last = child;
        } else if (text != nullptr) {
            return;
        } else {
            text = child;
            before = last;
        }
    }
    if (text == nullptr) {
        return;
    }
    free(parent.value);
    parent.value = text->value;
    parent.value_length = text->value_length;
    text->value = nullptr;
    text->parent = &parent;
    text->previous = before;
    xml_node_unlink(text);
    parent.last_child = last;
    xml_node_delete(text);
    --document.node_count;
}

/// Where an end tag whose `name` begins right here ends, or null.
const char *behind_end_tag(byte_range here, const char *name) {
    const auto size = static_cast<size_t>(here.end - here.next);
    const size_t length = strlen(name);
    const bool closes = size > length && here.next[length] == '>' && memcmp(here.next, name, length) == 0;
    return closes ? here.next + length + 1 : nullptr;
}

/// Reads the content of one node, with all that is below it. Elements that are open are not attached yet;
/// each has in `parent` the one that it will be attached to, so nesting needs no stack.
class node_reader {
  public:
    node_reader(xml_refiller &source, xml_node &top, xml_document &document, unsigned flags)
        : in_(source, document, flags), document_(document), top_(&top), parent_(&top) {}

    int read() {
        step done = step::next_node;
        while (done == step::next_node) {
            done = read_one();
            while (done == step::level_ended && parent_ != top_) {
                done = close_element();
            }
        }
        return done == step::failed ? give_up() : 0;
    }

  private:
    enum class step { next_node, level_ended, failed };

    step read_one() {
        const byte_range ready = in_.ready();
        const scanned blanks = skip_blanks(ready.next, ready.end);
        if (ready.end - blanks.end >= 2 && *blanks.end == '<') {
            if (is(blanks.end[1], letter)) {
                in_.take_until(blanks.end + 1, blanks.line_feeds);
                return read_element();
            }
            if (blanks.end[1] == '/') {
                in_.take_until(blanks.end + 2, blanks.line_feeds);
                return read_end_tag();
            }
        }
        return read_one_by_character();
    }

    step read_one_by_character() {
        const int c = get_behind_blanks(in_);
        switch (c) {
        case '<':
            return read_tag();
        case end_of_input:
            return end_input();
        default:
            in_.unget(c);
            return read_text();
        }
    }

    step read_tag() {
        const int c = in_.get();
        switch (c) {
        case '/':
            return read_end_tag();
        case '!':
            return read_bang();
        case '?':
            return read_named(xml_kind_processing_instruction, read_instruction);
        case end_of_input:
            return end_input();
        default:
            if (!is_letter(c)) {
                return read_bad_tag();
            }
            in_.unget(c);
            return read_element();
        }
    }

    step read_bang() {
        const int c = in_.get();
        if (c == '-') {
            return read_second_dash();
        }
        if (c == end_of_input) {
            return end_input();
        }
        if (!is_letter(c)) {
            return read_bad_tag();
        }
        in_.unget(c);
        return read_named(xml_kind_declaration, read_declaration);
    }

    step read_second_dash() {
        const int c = in_.get();
        if (c == '-') {
            return read_comment_node();
        }
        return c == end_of_input ? end_input() : read_bad_tag();
    }

    step read_comment_node() {
        xml_node *const comment = make_node(xml_kind_comment);
        if (comment != nullptr) {
            read_comment(in_, *comment);
        }
        return attach(comment);
    }

    step read_named(xml_kind kind, void (*read_body)(input &, xml_node &)) {
        xml_node *const node = make_node(kind);
        if (node != nullptr && read_name(in_, node->name) == 0) {
            read_body(in_, *node);
        }
        return attach(node);
    }

    step read_element() {
        xml_node *const element = make_node(xml_kind_element);
        if (element != nullptr && read_name(in_, element->name) == 0) {
            read_attributes(*element);
            if (has_content()) {
                element->parent = parent_;
                parent_ = element;
                return step::next_node;
            }
        }
        return attach(element);
    }

    /// Whether a start tag is followed by anything but ">", which is consumed.
    bool has_content() {
        const byte_range ready = in_.ready();
        if (ready.next != ready.end && *ready.next != '>' && in_.failure() == 0) {
            return true;
        }
        const int c = in_.get();
        const bool content = c != '>' && in_.failure() == 0;
        if (content) {
            in_.unget(c);
        }
        return content;
    }

    void read_attributes(xml_node &element) {
        xml_attribute *first = nullptr;
        xml_attribute **end = &first;
        bool more = true;
        while (more) {
            xml_attribute *const attribute = *end = xml_attribute_new();
            if (attribute == nullptr) {
                in_.memory_ran_out();
                break;
            }
            read_attribute(in_, *attribute);
            end = &attribute->next;
            more = document_.status == 0 && attribute->name != nullptr;
        }
        if (in_.error() == 0) {
            element.attributes = first;
        } else {
            in_.report(in_.error());
            xml_attribute_delete(first);
        }
    }

    step read_text() {
        const byte_range ready = in_.ready();
        const scanned text = scan_until(ready.next, ready.end, '<', in_.raw() ? '<' : '&');
        if (text.end != ready.end && *text.end == '<') {
            return take_text(ready, text);
        }
        xml_node *const node = make_node(xml_kind_text);
        if (node != nullptr) {
            varnel::xml::read_text(in_, *node);
        }
        return attach(node);
    }

    /// A text without entities, all of which lies ready. As an element's only content it needs no node.
    step take_text(byte_range ready, scanned text) {
        const char *behind = nullptr;
        if (parent_ != top_ && parent_->first_child == nullptr && ready.end - text.end > 1 &&
            text.end[1] == '/') {
            behind = behind_end_tag({text.end + 2, ready.end}, parent_->name);
        }
        xml_node *const owner = behind != nullptr ? parent_ : make_node(xml_kind_text);
        if (owner != nullptr) {
            store_value(*owner, ready.next, static_cast<size_t>(text.end - ready.next));
        }
        in_.take_until(behind != nullptr ? behind : text.end, text.line_feeds);
        return behind != nullptr ? step::level_ended : attach(owner);
    }

    void store_value(xml_node &owner, const char *text, size_t length) {
        length = trimmed_length(text, length);
        owner.value = copied(text, length);
        owner.value_length = static_cast<unsigned>(length);
        if (owner.value == nullptr) {
            in_.memory_ran_out();
        }
    }

    step read_bad_tag() {
        in_.report(xml_status_bad_name);
        return read_end_tag();
    }

    step read_end_tag() {
        const byte_range ready = in_.ready();
        const char *const behind = parent_ != top_ ? behind_end_tag(ready, parent_->name) : nullptr;
        if (behind != nullptr) {
            in_.take_until(behind, 0);
            merge_single_text(*parent_, document_);
            return step::level_ended;
        }
        return read_end_tag_by_character();
    }

    step read_end_tag_by_character() {
        std::array<char, end_tag_limit + 1> name;
        size_t length = 0;
        int c = in_.get();
        while (c != '>' && c != end_of_input && length < end_tag_limit) {
            name[length++] = static_cast<char>(c);
            c = in_.get();
        }
        // cppcheck-suppress containerOutOfBounds // the array has one byte more than the limit
        name[length] = '\0';
        if (c != '>' && c != end_of_input) {
            in_.report(xml_status_name_too_long);
        } else if (c != '>' || parent_->name == nullptr || strcmp(name.data(), parent_->name) != 0) {
            in_.report(xml_status_unmatched_end_tag);
        }
        merge_single_text(*parent_, document_);
        return step::level_ended;
    }

    step end_input() {
        if (in_.failure() == 0) {
            return step::level_ended;
        }
        in_.report(in_.failure());
        return step::failed;
    }

    step close_element() {
        xml_node *const element = parent_;
        parent_ = element->parent;
        return attach(element);
    }

    xml_node *make_node(xml_kind kind) {
        xml_node *const node = xml_node_new();
        if (node == nullptr) {
            in_.memory_ran_out();
        } else {
            node->kind = kind;
        }
        return node;
    }

    step attach(xml_node *node) {
        if (in_.failure() != 0) {
            xml_node_delete(node);
            in_.report(in_.failure());
            return step::failed;
        }
        xml_node_add_child(parent_, node);
        ++document_.node_count;
        return step::next_node;
    }

    int give_up() {
        while (parent_ != top_) {
            xml_node *const element = parent_;
            parent_ = element->parent;
            xml_node_delete(element);
        }
        return in_.failure();
    }

    input in_;
    xml_document &document_;
    xml_node *const top_;
    xml_node *parent_; // the innermost element that is open
};

} // namespace

} // namespace varnel::xml

int xml_node_read(xml_refiller *r, xml_node *parent, xml_document *doc, unsigned flags) {
    return varnel::xml::node_reader(*r, *parent, *doc, flags).read();
}
