// SPDX-License-Identifier: Apache-2.0
#include "xml/name_reader.h"

#include <algorithm>
#include <array>

#include "xml/character.h"
#include "xml/memory.h"

namespace varnel::xml {

namespace {

constexpr size_t name_limit = 127;

bool ends_name(int c) { return is_blank(c) || c == '>' || c == '/'; }

int failed(input &in, int status) {
    in.report(status);
    return status;
}

int store(input &in, char *&name, const char *bytes, size_t length) {
    name = copied(bytes, length);
    if (name == nullptr) {
        in.memory_ran_out();
        return xml_status_out_of_memory;
    }
    return 0;
}

int read_by_character(input &in, char *&name) {
    std::array<char, name_limit> bytes;
    size_t length = 0;
    for (;;) {
        const int c = in.get();
        if (length > 0 && ends_name(c)) {
            in.unget(c);
            return store(in, name, bytes.data(), length);
        }
        if (c == end_of_input) {
            return failed(in, in.error() != 0 ? in.error() : int{xml_status_name_too_long});
        }
        if (length == 0 ? !is_letter(c) : !is_name_part(c)) {
            return failed(in, xml_status_bad_name);
        }
        if (length == name_limit) {
            return failed(in, xml_status_name_too_long);
        }
        bytes[length++] = static_cast<char>(c);
    }
}

} // namespace

int read_name(input &in, char *&name) {
    const byte_range ready = in.ready();
    const char *const end = std::find_if_not(ready.next, ready.end, [](char c) { return is(c, name_part); });
    const auto length = static_cast<size_t>(end - ready.next);
    if (length > 0 && length <= name_limit && is(*ready.next, letter) && end != ready.end &&
        ends_name(*end)) {
        in.take_until(end, 0);
        return store(in, name, ready.next, length);
    }
    return read_by_character(in, name);
}

} // namespace varnel::xml
