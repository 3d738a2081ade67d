// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_reader.h"

#include <cstring>
#include <utility>

#include "xml/input.h"
#include "xml/node.h"
#include "xml/parts.h"
#include "xml/ready_text.h"
#include "xml/tree_memory.h"

namespace varnel::xml {

namespace {

#ifdef __OPTIMIZE_SIZE__
#define XML_FLATTEN
#else
#define XML_FLATTEN [[gnu::flatten]]
#endif

constexpr std::size_t name_limit = 127;
constexpr std::size_t end_tag_limit = 128;

/// The caller's node whose content has been read up to its end tag takes over its text when that is its only
/// one.
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
    delete_string(parent.value);
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

// An element that is open is not attached yet, so callers cannot see it. `parent` is the node that it will be
// attached to. Its first text waits in `value` until it is clear whether it is the only one. `kind` holds the
// length of its name and what is known about its texts; `next` the child before the text that waits.

constexpr int name_length_bits = 0xFF;
constexpr int has_waiting_text = 0x100;
constexpr int has_text_nodes = 0x200;

std::size_t name_length(const xml_node &open) {
    return static_cast<std::size_t>(open.kind & name_length_bits);
}

bool is_name_of(const xml_node &open, std::size_t length, const token &name) {
    // The name in the tag may be followed by a NUL and more.
    return name.length >= length && std::memcmp(name.bytes, open.name, length) == 0 &&
           (name.length == length || name.bytes[length] == '\0');
}

/// Reads the content of one node, with all that is below it. Nesting needs no stack: the open elements are
/// linked by `parent`. read() has inline all that usual documents consist of; the rest works apart.
class node_reader {
  public:
    node_reader(reading &from, tree_memory &memory, xml_node &top)
        : in_(from), memory_(memory), document_(from.document), top_(&top), parent_(&top) {}
    /// Continues where a copy of this ended.
    void resume(const node_reader &copy) {
        in_.resume(copy.in_);
        parent_ = copy.parent_;
    }

    XML_FLATTEN int read() {
        step done = step::next_node;
        while (done == step::next_node) {
            done = read_one();
            while (done == step::level_ended && parent_ != top_) {
                done = close_element();
            }
        }
        if (done == step::failed) {
            apart(*this, [](node_reader &self) { return self.give_up(); });
        }
        in_.finish();
        return done == step::failed ? in_.failure() : 0;
    }

  private:
    enum class step { next_node, level_ended, failed };

    step read_one() {
        const int c = in_.get_after_white_space();
        if (c == '<') {
            return read_tag();
        }
        if (c == end_of_input) {
            return end_input();
        }
        in_.unget(c);
        if (parent_ != top_ && (parent_->kind & (has_waiting_text | has_text_nodes)) == 0) {
            return read_first_text();
        }
        return apart(*this, [](node_reader &self) { return self.read_text_node(); });
    }

    step read_tag() {
        const int c = in_.get();
        if (c == '/') {
            return read_end_tag();
        }
        if (is_letter(c)) {
            in_.unget(c);
            return read_element();
        }
        return apart(*this, [c](node_reader &self) { return self.read_rare_tag(c); });
    }

    [[gnu::noinline]] step read_rare_tag(int c) {
        switch (c) {
        case '!':
            return read_bang();
        case '?':
            return read_named(xml_kind_processing_instruction, read_instruction);
        case end_of_input:
            return end_input();
        default:
            return read_bad_tag();
        }
    }

    step read_bang() {
        int c = in_.get();
        if (is_letter(c)) {
            in_.unget(c);
            return read_named(xml_kind_declaration, read_declaration);
        }
        if (c == '-') {
            c = in_.get();
            if (c == '-') {
                return read_comment_node();
            }
        }
        return c == end_of_input ? end_input() : read_bad_tag();
    }

    step read_comment_node() {
        xml_node *const comment = make_node(xml_kind_comment);
        if (comment != nullptr) {
            set_value(*comment, read_comment(in_));
        }
        return attach(comment);
    }

    step read_named(xml_kind kind, token (*read_body)(input &)) {
        xml_node *const node = make_node(kind);
        if (node != nullptr && read_name(*node) > 0) {
            set_value(*node, read_body(in_));
        }
        return attach(node);
    }

    step read_element() {
        xml_node *element = nullptr;
        const int name_length = start_element(element);
        if (name_length > 0) {
            read_attributes(*element);
            if (has_content()) {
                element->kind = name_length;
                element->parent = parent_;
                parent_ = element;
                return step::next_node;
            }
        }
        return attach(element);
    }

    /// Makes an element with its name, whose length is returned; 0 after an error.
    int start_element(xml_node *&element) {
        if (slab_filler *const slab = slab_for_ready_text()) {
            ready_text text(in_.ready());
            token name;
            if (text.read_name(name) && ends_name(name.stop)) {
                element = slab->record_in_room<xml_node>();
                element->kind = xml_kind_element;
                element->name = slab->string_in_room(name.bytes, name.length);
                in_.consume_to(text.at(), 0);
                return static_cast<int>(name.length);
            }
        }
        element = make_node(xml_kind_element);
        return element != nullptr ? read_name(*element) : 0;
    }

    /// Where what lies ready is stored as it is read; null where one of both is short.
    slab_filler *slab_for_ready_text() {
        if constexpr (ready_text::is_used) {
            return in_.is_ready(ready_text::size) ? memory_.slab_with_room() : nullptr;
        }
        return nullptr;
    }

    [[nodiscard]] int status_of_cut_name() const {
        return in_.error() != 0 ? in_.error() : int{xml_status_name_too_long};
    }

    /// Reads a name and leaves what ends it to be read. Its length; 0 after an error, which is reported.
    int read_name(xml_node &node) {
        const int c = in_.get();
        if (!is_letter(c)) {
            in_.report(c != end_of_input ? int{xml_status_bad_name} : status_of_cut_name());
            return 0;
        }
        const token name = in_.read_token_from(c, name_bytes{}, name_limit);
        if (!ends_name(name.stop)) {
            in_.report(name.stop == too_long       ? int{xml_status_name_too_long}
                       : name.stop == end_of_input ? status_of_cut_name()
                                                   : int{xml_status_bad_name});
            return 0;
        }
        node.name = memory_.string(in_, name);
        in_.unget(name.stop);
        return node.name != nullptr ? static_cast<int>(name.length) : 0;
    }

    static bool ends_name(int c) { return is_white_space(c) || c == '>' || c == '/'; }

    void read_attributes(xml_node &element) {
        xml_attribute *first = nullptr;
        xml_attribute **end = &first;
        bool more = !read_ready_attributes(end);
        while (more) {
            auto *const attribute = *end = memory_.record<xml_attribute>(in_);
            if (attribute == nullptr) {
                break;
            }
            read_attribute(in_, memory_, *attribute);
            end = &attribute->next;
            more = attribute->name != nullptr;
        }
        if (in_.failure() == 0) {
            element.attributes = first;
        } else {
            in_.report(in_.failure());
            xml_attribute_delete(first);
        }
    }

    /// Reads attributes that lie ready. True after the last, when the end of the tag is read.
    bool read_ready_attributes(xml_attribute **&end) {
        if (document_.status != 0) {
            return false;
        }
        while (slab_filler *const slab = slab_for_ready_text()) {
            ready_text text(in_.ready());
            text.skip_white_space();
            if (text.read_end()) {
                *end = slab->record_in_room<xml_attribute>();
                in_.consume_to(text.at(), text.newlines());
                return true;
            }
            token name;
            token value;
            if (!text.read_name(name) || !text.read_value(value)) {
                break;
            }
            auto *const attribute = *end = slab->record_in_room<xml_attribute>();
            attribute->name = slab->string_in_room(name.bytes, name.length);
            attribute->value = slab->string_in_room(value.bytes, value.length);
            end = &attribute->next;
            in_.consume_to(text.at(), text.newlines());
        }
        return false;
    }

    /// Whether a start tag is followed by anything but ">", which is consumed.
    bool has_content() {
        const int c = in_.get();
        const bool content = c != '>' && in_.failure() == 0;
        if (content) {
            in_.unget(c);
        }
        return content;
    }

    /// It waits until it is clear whether it is the only one.
    step read_first_text() {
        parent_->next = parent_->last_child;
        parent_->kind |= has_waiting_text;
        read_value_of(*parent_);
        if (in_.failure() != 0) {
            return fail();
        }
        ++document_.node_count;
        return step::next_node;
    }

    [[gnu::noinline]] step read_text_node() {
        if (parent_ != top_) {
            attach_waiting_text(*parent_);
            parent_->kind |= has_text_nodes;
        }
        xml_node *const text = make_node(xml_kind_text);
        if (text != nullptr) {
            read_value_of(*text);
        }
        return attach(text);
    }

    void read_value_of(xml_node &owner) {
        const token text = read_text(in_);
        if (text.stop != too_long) {
            set_value(owner, text);
        }
    }

    void set_value(xml_node &node, const token &value) {
        if (in_.failure() == 0) { // else the node is about to be deleted
            node.value = memory_.string(in_, value);
            node.value_length = static_cast<unsigned>(value.length);
        }
    }

    /// Makes the text that waits a child, in its place.
    void attach_waiting_text(xml_node &open) {
        if ((open.kind & has_waiting_text) == 0) {
            return;
        }
        xml_node *const text = make_node(xml_kind_text);
        if (text == nullptr) {
            return;
        }
        text->value = std::exchange(open.value, nullptr);
        text->value_length = std::exchange(open.value_length, 0);
        text->parent = &open;
        text->previous = open.next;
        xml_node *&link = open.next != nullptr ? open.next->next : open.first_child;
        text->next = link;
        (link != nullptr ? link->previous : open.last_child) = text;
        link = text;
        open.kind &= ~has_waiting_text;
    }

    step read_bad_tag() {
        in_.report(xml_status_bad_name);
        return read_rare_end_tag();
    }

    step read_end_tag() {
        if (parent_ == top_ || !in_.consume_tag(parent_->name, name_length(*parent_))) {
            return apart(*this, [](node_reader &self) { return self.read_rare_end_tag(); });
        }
        if ((parent_->kind & has_waiting_text) != 0) {
            --document_.node_count; // the text has become the value
        }
        return step::level_ended;
    }

    [[gnu::noinline]] step read_rare_end_tag() {
        const token name = in_.read_copied(bytes_until{'>', '>'}, end_tag_limit);
        if (name.stop == too_long) {
            in_.report(xml_status_name_too_long);
        } else if (name.stop != '>' || !is_open(name)) {
            in_.report(xml_status_unmatched_end_tag);
        }
        if (parent_ == top_) {
            merge_single_text(*parent_, document_);
        } else if ((parent_->kind & has_waiting_text) != 0) {
            --document_.node_count; // the text has become the value
        }
        return step::level_ended;
    }

    [[nodiscard]] bool is_open(const token &name) const {
        if (parent_ == top_) {
            return top_->name != nullptr && is_name_of(*top_, std::strlen(top_->name), name);
        }
        return is_name_of(*parent_, name_length(*parent_), name);
    }

    step end_input() {
        if (in_.failure() != 0) {
            return fail();
        }
        if (parent_ != top_) {
            apart(*this, [](node_reader &self) {
                self.attach_waiting_text(*self.parent_);
                return 0;
            });
        }
        return step::level_ended;
    }

    step close_element() {
        xml_node *const element = parent_;
        parent_ = element->parent;
        element->kind = xml_kind_element;
        element->next = nullptr;
        return attach(element);
    }

    xml_node *make_node(xml_kind kind) {
        auto *const node = memory_.record<xml_node>(in_);
        if (node != nullptr) {
            node->kind = kind;
        }
        return node;
    }

    step attach(xml_node *node) {
        if (in_.failure() != 0) {
            xml_node_delete(node);
            return fail();
        }
        append_child(*parent_, *node);
        ++document_.node_count;
        return step::next_node;
    }

    step fail() {
        in_.report(in_.failure());
        return step::failed;
    }

    int give_up() {
        while (parent_ != top_) {
            xml_node *const element = parent_;
            parent_ = element->parent;
            element->next = nullptr;
            xml_node_delete(element);
        }
        return 0;
    }

    input in_;
    tree_memory &memory_;
    xml_document &document_;
    xml_node *const top_;
    xml_node *parent_; // the innermost element that is open
};

} // namespace

} // namespace varnel::xml

int xml_node_read(xml_refiller *r, xml_node *parent, xml_document *doc, unsigned flags) {
    using namespace varnel::xml;
    reading from(*r, *doc, flags);
    tree_memory memory((flags & xml_flag_compact) != 0);
    return node_reader(from, memory, *parent).read();
}

int xml_attribute_read(xml_refiller *r, xml_attribute *a, xml_document *doc, unsigned flags) {
    using namespace varnel::xml;
    reading from(*r, *doc, flags);
    tree_memory memory(false);
    input in(from);
    const int result = read_attribute(in, memory, *a);
    in.finish();
    return result;
}
