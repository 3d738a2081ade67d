// SPDX-License-Identifier: Apache-2.0
#include "xml/sgs.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "varnel/xml_reader.h"
#include "xml/memory.h"

namespace {

constexpr uint64_t growth_unit = 2048;

int set_capacity(xml_sgs &string, uint64_t capacity) {
    if (capacity > UINT32_MAX) {
        return xml_status_out_of_memory;
    }
    char *buffer = static_cast<char *>(realloc(string.buffer, static_cast<size_t>(capacity)));
    if (buffer == nullptr) {
        return xml_status_out_of_memory;
    }
    string.buffer = buffer;
    string.capacity = static_cast<unsigned>(capacity);
    return 0;
}

int grow_by_one_unit(xml_sgs &string) { return set_capacity(string, string.capacity + growth_unit); }

void store(xml_sgs &string, const char *bytes, unsigned length) {
    memcpy(string.buffer + string.length, bytes, length);
    string.length += length;
    string.buffer[string.length] = '\0';
}

} // namespace

xml_sgs *xml_sgs_new() {
    auto *sgs = varnel::xml::make<xml_sgs>();
    if (sgs != nullptr && xml_sgs_setup(sgs) != 0) {
        free(sgs);
        return nullptr;
    }
    return sgs;
}

int xml_sgs_setup(xml_sgs *sgs) {
    *sgs = {};
    const int result = grow_by_one_unit(*sgs);
    if (result == 0) {
        sgs->buffer[0] = '\0';
    }
    return result;
}

void xml_sgs_delete(xml_sgs *sgs) {
    free(sgs->buffer);
    sgs->buffer = nullptr;
    free(sgs);
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
    const uint64_t length = uint64_t{sgs->length} + n;
    if (length >= sgs->capacity &&
        set_capacity(*sgs, length / growth_unit * growth_unit + growth_unit) != 0) {
        return xml_status_out_of_memory;
    }
    store(*sgs, bytes, n);
    return 0;
}

int xml_sgs_append_string(xml_sgs *sgs, const char *s) {
    const size_t length = strlen(s);
    return length <= UINT32_MAX ? xml_sgs_append_lengthed_string(sgs, s, static_cast<unsigned>(length))
                                : xml_status_out_of_memory;
}

int varnel::xml::append_one_by_one(xml_sgs &string, const char *bytes, size_t length) {
    int result = 0;
    while (length > 0 && result == 0) {
        size_t taken = string.length < string.capacity
                           ? std::min<size_t>(length, string.capacity - string.length - 1)
                           : 0;
        if (taken > 0) {
            store(string, bytes, static_cast<unsigned>(taken));
        } else { // the byte that fills the string grows it
            taken = 1;
            result = xml_sgs_append_character(&string, *bytes);
        }
        bytes += taken;
        length -= taken;
    }
    return result;
}
