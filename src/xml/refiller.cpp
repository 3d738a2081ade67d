// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_refiller.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "varnel/xml_reader.h"
#include "xml/input.h"
#include "xml/memory.h"

using varnel::xml::end_of_input;
using varnel::xml::nothing_pushed;

int xml_refiller_setup(xml_refiller *r, xml_refiller_function refill, char *buffer, unsigned fill,
                       unsigned capacity) {
    if (buffer == nullptr && refill == nullptr) {
        return xml_status_invalid_setup;
    }
    r->error = 0;
    r->buffer = buffer;
    r->capacity = buffer != nullptr ? capacity : 0;
    r->fill = buffer != nullptr ? fill : 0;
    r->position = 0;
    r->pushed = nothing_pushed;
    r->refill = refill;
    return 0;
}

xml_refiller *xml_refiller_new(xml_refiller_function refill, char *buffer, unsigned fill, unsigned capacity) {
    return varnel::xml::make_with(xml_refiller_setup, refill, buffer, fill, capacity);
}

void xml_refiller_delete(xml_refiller *r) { std::free(r); }

int xml_refiller_get_char(xml_refiller *r) {
    if (r->pushed != nothing_pushed) {
        const int c = r->pushed;
        r->pushed = nothing_pushed;
        return c;
    }
    if (r->position >= r->fill) {
        if (r->refill == nullptr) {
            return end_of_input;
        }
        r->refill(r);
        if (r->error != 0 || r->fill == 0) {
            return end_of_input;
        }
    }
    return static_cast<unsigned char>(r->buffer[r->position++]);
}

void xml_refiller_set_char(xml_refiller *r, int c) { r->pushed = c; }

int xml_refiller_function_from_file_stream(xml_refiller *r) {
    const std::size_t count = std::fread(r->buffer, 1, r->capacity, r->source.stream);
    const int failure = std::ferror(r->source.stream);
    if (failure != 0) {
        r->error = xml_status_input_failed;
        return failure;
    }
    r->position = 0;
    r->fill = static_cast<unsigned>(count);
    return 0;
}

int xml_refiller_function_from_file_descriptor(xml_refiller *r) {
    const ssize_t count = read(r->source.descriptor, r->buffer, r->capacity);
    if (count == -1) {
        r->error = xml_status_input_failed;
        return -1;
    }
    r->position = 0;
    r->fill = static_cast<unsigned>(count);
    return 0;
}
