// SPDX-License-Identifier: Apache-2.0
#include "xml/attribute_reader.h"

#include "xml/entity.h"

namespace varnel::xml {

namespace {

constexpr std::size_t name_limit = 128;
constexpr std::size_t value_limit = 256;

/// Reports the first error of an attribute; an earlier one of the document stays.
int fail(input &in, int status) {
    if (in.status() == 0) {
        in.report(status);
    }
    return in.status();
}

int fail_at(input &in, int c, int status) {
    if (c != end_of_input) {
        in.report(status);
    }
    return fail(in, xml_status_bad_attribute);
}

/// A string for the attribute; null when it is not wanted because of an earlier error, or when memory ran
/// out.
char *string_of(input &in, tree_memory &memory, const token &of) {
    return in.status() == 0 ? memory.string(in, of) : nullptr;
}

/// Goes on with a value behind the "&" that ended it so far.
[[gnu::noinline]] token read_entities(input &in, int quote, token value) {
    while (value.stop == '&') {
        text_buffer &text = in.copy(value);
        text.append('&');
        const entity_end end =
            text.length() > value_limit ? entity_end::failed : read_entity(in, quote, value_limit);
        value = end == entity_end::decoded
                    ? in.read_more(bytes_until{quote, '&'}, value_limit)
                    : token{text.data(), text.length(), end == entity_end::value_closed ? quote : too_long};
    }
    return value;
}

/// A value with its entities decoded. Its closing quote ends it; anything else that does is an error.
token read_value(input &in, int quote) {
    token value = in.read_token(bytes_until{quote, in.raw() ? quote : '&'}, value_limit);
    if (value.stop == '&') {
        value = read_entities(in, quote, value);
    }
    return value;
}

/// Reads what follows an attribute's name and stores the value.
int read_after_name(input &in, tree_memory &memory, int c, xml_attribute &to) {
    c = is_white_space(c) ? in.get_after_white_space() : c;
    if (c != '=') {
        return fail_at(in, c, xml_status_bad_attribute);
    }
    c = in.get_after_white_space();
    if (c != '"' && c != '\'') {
        return fail_at(in, c, xml_status_bad_attribute);
    }
    const token value = read_value(in, c);
    if (value.stop != c) {
        return fail(in, value.length > value_limit ? xml_status_value_too_long : xml_status_bad_attribute);
    }
    char *const string = string_of(in, memory, value);
    to.value = string != nullptr ? string : to.value;
    return in.status();
}

} // namespace

int read_attribute(input &in, tree_memory &memory, xml_attribute &attribute) {
    const int c = in.get_after_white_space();
    if (c == '/' || c == '>') {
        return 0;
    }
    if (!is_letter(c)) {
        return fail_at(in, c, xml_status_bad_attribute_start);
    }
    const token name = in.read_token_from(c, name_bytes{}, name_limit);
    if (name.stop == too_long) {
        return fail(in, xml_status_attribute_too_long);
    }
    char *const string = string_of(in, memory, name);
    const int result = read_after_name(in, memory, name.stop, attribute);
    if (result == 0) {
        attribute.name = string;
    } else {
        piece_deleter().string(string);
    }
    return result;
}

} // namespace varnel::xml

int xml_attribute_read(xml_refiller *r, xml_attribute *a, xml_document *doc, unsigned flags) {
    varnel::xml::input in(*r, *doc, flags);
    varnel::xml::tree_memory memory(false);
    return varnel::xml::read_attribute(in, memory, *a);
}
