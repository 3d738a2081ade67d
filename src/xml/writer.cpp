// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_writer.h"

#include <cstdio>
#include <string_view>

#include "varnel/xml_iterator.h"
#include "xml/memory.h"
#include "xml/sink.h"
#include "xml/text_buffer.h"

namespace varnel::xml {

namespace {

void write_attribute(sink &out, const xml_attribute &attribute, bool raw) {
    out.string(attribute.name);
    out.character('=');
    out.character('"');
    out.value(attribute.value, raw);
    out.character('"');
}

bool has_children_written(const xml_node &node) {
    return node.first_child != nullptr && (node.kind == xml_kind_element || node.kind == xml_kind_document);
}

/// The way back up through a tree that is walked by `first_child` and `next`. Usually that is a node's
/// `parent`; for nodes whose `parent` says something else it is noted here.
class noted_parents {
  public:
    /// Notes that the walk came to `node` from `parent`. False when memory ran out.
    [[nodiscard]] bool push(const xml_node *node, const xml_node *parent) {
        const note last{node, parent};
        notes_.append(reinterpret_cast<const char *>(&last), sizeof last);
        return !notes_.memory_ran_out();
    }

    /// Where the walk came to `node` from: as noted (and no more then), else `linked`.
    [[nodiscard]] const xml_node *pop(const xml_node *node, const xml_node *linked) {
        if (notes_.length() == 0) {
            return linked;
        }
        note last;
        const std::size_t rest = notes_.length() - sizeof last;
        std::memcpy(&last, notes_.data() + rest, sizeof last);
        if (last.node != node) {
            return linked;
        }
        notes_.cut_to(rest);
        return last.parent;
    }

  private:
    struct note {
        const xml_node *node;
        const xml_node *parent;
    };

    text_buffer notes_;
};

class node_writer {
  public:
    node_writer(xml_output &out, unsigned flags)
        : out_(out), indented_((flags & xml_flag_indent) != 0), raw_((flags & xml_flag_raw) != 0),
          unit_((flags & xml_flag_tabs) != 0           ? "\t"
                : (flags & xml_flag_three_spaces) != 0 ? "   "
                                                       : " ") {}

    void write(const xml_node &top) {
        enter(top, nullptr);
        while (at_ != nullptr) {
            open(*at_);
            if (has_children_written(*at_)) {
                go_down();
            } else {
                close(*at_);
                go_on(top);
            }
        }
    }

  private:
    void enter(const xml_node &node, const xml_node *parent) {
        // The depth follows from the parent's, where the links say so; counting it anew each time would make
        // deep trees slow.
        if (indented_) {
            depth_ = parent != nullptr && node.parent == parent && node.kind != xml_kind_document
                         ? parent_depth_ + 1
                         : xml_node_get_path_depth(&node);
        }
        at_ = &node;
        parent_ = parent;
        __builtin_prefetch(node.attributes);
        __builtin_prefetch(node.value);
        __builtin_prefetch(node.first_child);
        __builtin_prefetch(node.next);
        ahead_.go_to(&node, usual_node_size);
    }

    void go_down() {
        if (at_->parent != parent_ && !noted_parents_.push(at_, parent_)) {
            out_.fail(xml_status_out_of_memory);
            at_ = nullptr;
            return;
        }
        parent_depth_ = depth_;
        enter(*at_->first_child, at_);
    }

    /// To the next node, closing those that end on the way; to none after `top`.
    void go_on(const xml_node &top) {
        while (at_ != &top) {
            if (at_->next != nullptr) {
                enter(*at_->next, parent_);
                return;
            }
            go_up();
            close(*at_);
        }
        at_ = nullptr;
    }

    void go_up() {
        at_ = parent_;
        depth_ = parent_depth_;
        parent_ = noted_parents_.pop(at_, at_->parent);
        if (indented_ && parent_ != nullptr) {
            parent_depth_ = at_->parent == parent_ && at_->kind != xml_kind_document
                                ? depth_ - 1
                                : xml_node_get_path_depth(parent_);
        }
    }

    void open(const xml_node &node) {
        if (indented_) {
            out_.repeat(unit_, depth_ - 1);
        }
        switch (node.kind) {
        case xml_kind_element:
            open_element(node);
            break;
        case xml_kind_comment:
            out_.literal("<!-- ");
            out_.string(node.value);
            out_.literal(" -->\n");
            break;
        case xml_kind_processing_instruction:
            write_markup("<?", node, "?>\n");
            break;
        case xml_kind_declaration:
            write_markup("<!", node, ">\n");
            break;
        case xml_kind_text:
            out_.value(node.value, raw_);
            break;
        default:
            break;
        }
    }

    void open_element(const xml_node &element) {
        out_.character('<');
        out_.string(element.name);
        for (const xml_attribute *a = element.attributes; a != nullptr && out_.good(); a = a->next) {
            __builtin_prefetch(a->next);
            __builtin_prefetch(a->value);
            if (a->name != nullptr) {
                out_.character(' ');
                write_attribute(out_, *a, raw_);
            }
        }
        if (element.value == nullptr && element.first_child == nullptr) {
            return;
        }
        out_.character('>');
        if (element.first_child != nullptr) {
            out_.character('\n');
        }
    }

    void write_markup(const char *opening, const xml_node &node, const char *closing) {
        out_.string(opening);
        out_.string(node.name);
        if (node.value != nullptr) {
            out_.character(' ');
            out_.string(node.value);
        }
        out_.string(closing);
    }

    void close(const xml_node &node) {
        if (node.kind == xml_kind_element) {
            close_element(node);
        } else if (node.kind == xml_kind_document) {
            out_.character('\n');
        }
        if (out_.good()) {
            out_.count_node();
        }
    }

    void close_element(const xml_node &element) {
        const bool indented = indented_ && element.first_child != nullptr;
        if (element.value == nullptr && element.first_child == nullptr) {
            out_.literal("/>\n");
            return;
        }
        if (element.value != nullptr) {
            if (indented) {
                out_.repeat(unit_, depth_);
            }
            out_.value(element.value, raw_);
        }
        if (indented) {
            out_.repeat(unit_, depth_ - 1);
        }
        out_.literal("</");
        out_.string(element.name);
        out_.literal(">\n");
    }

    sink out_;
    const bool indented_;
    const bool raw_;
    const std::string_view unit_;
    const xml_node *at_ = nullptr;
    const xml_node *parent_ = nullptr; // whose children are being written
    int depth_ = 0;                    // of `at_`, when it matters
    int parent_depth_ = 0;             // of `parent_`, likewise
    noted_parents noted_parents_;
    walk_ahead ahead_;
};

} // namespace

} // namespace varnel::xml

int xml_write(xml_document *doc, const char *path, unsigned flags) {
    std::FILE *const stream = std::fopen(path, "w");
    if (stream != nullptr) {
        xml_write_file(doc, stream, flags);
    }
    if (stream == nullptr || std::fclose(stream) != 0) {
        doc->status = xml_status_input_failed;
    }
    return doc->status;
}

void xml_write_file(xml_document *doc, std::FILE *stream, unsigned flags) {
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_file_stream);
    out.target.stream = stream;
    xml_node_write(&out, doc->root, flags);
}

void xml_node_write(xml_output *out, xml_node *node, unsigned flags) {
    varnel::xml::node_writer(*out, flags).write(*node);
}

int xml_attribute_write(xml_output *out, xml_attribute *attribute, unsigned flags) {
    if (attribute->name != nullptr) {
        varnel::xml::sink pieces(*out);
        varnel::xml::write_attribute(pieces, *attribute, (flags & xml_flag_raw) != 0);
    }
    return out->error;
}
