// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_sgs.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "varnel/xml_reader.h"
#include "xml/memory.h"

namespace {

constexpr std::uint64_t growth_unit = 2048;

int set_capacity(xml_sgs &string, std::uint64_t capacity) {
    if (capacity > UINT32_MAX) {
        return xml_status_out_of_memory;
    }
    char *buffer = static_cast<char *>(std::realloc(string.buffer, static_cast<std::size_t>(capacity)));
    if (buffer == nullptr) {
        return xml_status_out_of_memory;
    }
    string.buffer = buffer;
    string.capacity = static_cast<unsigned>(capacity);
    return 0;
}

int grow_by_one_unit(xml_sgs &string) { return set_capacity(string, string.capacity + growth_unit); }

} // namespace

xml_sgs *xml_sgs_new() { return varnel::xml::make_with(xml_sgs_setup); }

int xml_sgs_setup(xml_sgs *sgs) {
    *sgs = {};
    const int result = grow_by_one_unit(*sgs);
    if (result == 0) {
        sgs->buffer[0] = '\0';
    }
    return result;
}

void xml_sgs_delete(xml_sgs *sgs) {
    std::free(sgs->buffer);
    std::free(sgs);
}

int xml_sgs_append_character(xml_sgs *sgs, char c) {
    const bool full = sgs->length >= sgs->capacity; // an earlier growth failed
    if (full && grow_by_one_unit(*sgs) != 0) {
        return xml_status_out_of_memory;
    }
    sgs->buffer[sgs->length] = c;
    ++sgs->length;
    if (sgs->length == sgs->capacity && grow_by_one_unit(*sgs) != 0) {
        return xml_status_out_of_memory;
    }
    sgs->buffer[sgs->length] = '\0';
    return 0;
}

int xml_sgs_append_lengthed_string(xml_sgs *sgs, const char *bytes, unsigned n) {
    if (n == 0) {
        return 0;
    }
    const std::uint64_t length = std::uint64_t{sgs->length} + n;
    if (length >= sgs->capacity &&
        set_capacity(*sgs, length / growth_unit * growth_unit + growth_unit) != 0) {
        return xml_status_out_of_memory;
    }
    std::memcpy(sgs->buffer + sgs->length, bytes, n);
    sgs->length = static_cast<unsigned>(length);
    sgs->buffer[length] = '\0';
    return 0;
}

int xml_sgs_append_string(xml_sgs *sgs, const char *s) {
    const std::size_t length = std::strlen(s);
    return length <= UINT32_MAX ? xml_sgs_append_lengthed_string(sgs, s, static_cast<unsigned>(length))
                                : xml_status_out_of_memory;
}
