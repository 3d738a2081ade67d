// SPDX-License-Identifier: Apache-2.0
#include "xml/body_reader.h"

#include "xml/character.h"
#include "xml/entity.h"
#include "xml/text_buffer.h"

namespace varnel::xml {

namespace {

void store(input &in, xml_node &node, text_buffer &body) {
    if (in.error() != 0) {
        return; // the node is about to be deleted
    }
    node.value_length = static_cast<unsigned>(body.length());
    node.value = body.release();
    if (node.value == nullptr) {
        in.memory_ran_out();
    }
}

/// Moves what lies ready up to `end` into the body.
void take(input &in, text_buffer &body, byte_range ready, scanned run) {
    if (run.end != ready.next) {
        body.append(ready.next, static_cast<size_t>(run.end - ready.next));
        in.take_until(run.end, run.line_feeds);
    }
}

void take_up_to(input &in, text_buffer &body, char stop) {
    const byte_range ready = in.ready();
    take(in, body, ready, scan_until(ready.next, ready.end, stop, stop));
}

/// Text by character and by runs. True when it ended well, before "<" or at the end of input.
class text_reader {
  public:
    text_reader(input &in, text_buffer &text) : in_(in), text_(text) {}

    bool read() {
        for (;;) {
            take_plain_run();
            const int c = in_.get();
            if (c == '<') {
                in_.unget(c);
                return true;
            }
            if (c == end_of_input) {
                return true;
            }
            text_.append(static_cast<char>(c));
            if (c == '&' && !in_.raw() && !read_entity()) {
                return false;
            }
        }
    }

  private:
    void take_plain_run() {
        const byte_range ready = in_.ready();
        take(in_, text_, ready, scan_until(ready.next, ready.end, '<', in_.raw() ? '<' : '&'));
    }

    /// What follows an "&" that is already stored.
    bool read_entity() {
        const size_t begin = text_.length();
        for (;;) {
            const int c = in_.get();
            if (c == ';') {
                return decode(begin);
            }
            if (c == '<') {
                in_.unget(c);
            }
            if (c == '<' || c == '&' || c == end_of_input) {
                in_.report(xml_status_unterminated_entity);
                return false;
            }
            text_.append(static_cast<char>(c));
        }
    }

    bool decode(size_t begin) {
        const size_t length = text_.length() - begin;
        if (length < shortest_entity) {
            in_.report(xml_status_short_entity);
            return false;
        }
        const char character = entity_character(text_.data() + begin, length);
        if (character != '\0') {
            text_.cut_to(begin - 1);
        }
        text_.append(character != '\0' ? character : ';');
        return true;
    }

    input &in_;
    text_buffer &text_;
};

/// Reads a comment's body up to its end; what "-->" turned out not to be is part of it.
void read_comment_body(input &in, text_buffer &body) {
    for (;;) {
        take_up_to(in, body, '-');
        int c = in.get();
        if (c == end_of_input) {
            return;
        }
        body.append(static_cast<char>(c));
        if (c != '-') {
            continue;
        }
        c = in.get();
        if (c == '-') {
            c = in.get();
            if (c == '>') {
                body.cut_to(body.length() - 1);
                return;
            }
            if (c == end_of_input) {
                body.append('-');
            }
        }
        if (c == end_of_input) {
            return;
        }
        in.unget(c);
    }
}

void read_instruction_body(input &in, text_buffer &body) {
    for (;;) {
        if (body.length() > 0) {
            take_up_to(in, body, '?');
        }
        int c = in.get();
        while (c == ' ' && body.length() == 0) {
            c = in.get();
        }
        if (c == '?') {
            c = in.get();
            if (c == '>') {
                return;
            }
            body.append('?');
            in.unget(c);
        } else if (c != end_of_input) {
            body.append(static_cast<char>(c));
        }
        if (c == end_of_input) {
            return;
        }
    }
}

void read_declaration_body(input &in, text_buffer &body) {
    int c = get_behind_blanks(in);
    while (c != '>' && c != end_of_input) {
        body.append(static_cast<char>(c));
        take_up_to(in, body, '>');
        c = in.get();
    }
}

} // namespace

size_t trimmed_length(const char *text, size_t length) {
    while (length > 0 && (text[length - 1] == '\t' || (text[length - 1] == ' ' && length > 1))) {
        --length;
    }
    return length;
}

void read_text(input &in, xml_node &text) {
    text_buffer buffer;
    if (text_reader(in, buffer).read()) {
        buffer.cut_to(trimmed_length(buffer.data(), buffer.length()));
        store(in, text, buffer);
    } else if (buffer.memory_ran_out()) {
        in.memory_ran_out();
    }
}

void read_comment(input &in, xml_node &comment) {
    text_buffer body;
    read_comment_body(in, body);
    store(in, comment, body);
}

void read_instruction(input &in, xml_node &instruction) {
    text_buffer body;
    read_instruction_body(in, body);
    store(in, instruction, body);
}

void read_declaration(input &in, xml_node &declaration) {
    text_buffer body;
    read_declaration_body(in, body);
    store(in, declaration, body);
}

} // namespace varnel::xml
