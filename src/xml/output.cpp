// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_output.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "varnel/xml_reader.h"
#include "xml/memory.h"
#include "xml/sink.h"

int xml_output_setup(xml_output *out, xml_output_function write) {
    if (write == nullptr) {
        return xml_status_invalid_setup;
    }
    out->write = write;
    out->error = 0;
    return 0;
}

xml_output *xml_output_new(xml_output_function write) {
    return varnel::xml::make_with(xml_output_setup, write);
}

void xml_output_delete(xml_output *out) { std::free(out); }

int xml_output_char(xml_output *out, char c) { return xml_output_lengthed_string(out, &c, 1); }

int xml_output_lengthed_string(xml_output *out, const char *bytes, unsigned n) {
    out->write(out, bytes, n);
    return out->error;
}

int xml_output_string(xml_output *out, const char *s) {
    return xml_output_lengthed_string(out, s, static_cast<unsigned>(std::strlen(s)));
}

int xml_output_escape_string(xml_output *out, const char *s) {
    varnel::xml::sink(*out).escaped(s);
    return out->error;
}

int xml_output_function_to_file_stream(xml_output *out, const char *bytes, unsigned length) {
    std::FILE *const stream = out->target.stream;
    const int result = length == 1 ? std::fputc(static_cast<unsigned char>(*bytes), stream)
                                   : static_cast<int>(std::fwrite(bytes, 1, length, stream));
    if (std::ferror(stream) != 0) {
        out->error = 1;
    }
    return result;
}

int xml_output_function_to_file_descriptor(xml_output *out, const char *bytes, unsigned length) {
    const ssize_t result = write(out->target.descriptor, bytes, length);
    if (result < static_cast<ssize_t>(length)) {
        out->error = 1;
    }
    return static_cast<int>(result);
}

int xml_output_function_to_sgs(xml_output *out, const char *bytes, unsigned length) {
    const int result = length == 1 ? xml_sgs_append_character(out->target.sgs, *bytes)
                                   : xml_sgs_append_lengthed_string(out->target.sgs, bytes, length);
    if (result != 0) {
        out->error = 2;
    }
    return result;
}
