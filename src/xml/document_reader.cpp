// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_reader.h"

#include <array>
#include <cstdio>

int xml_read(xml_document *doc, const char *path, unsigned flags) {
    std::FILE *const stream = std::fopen(path, "r");
    if (stream != nullptr) {
        xml_read_file(doc, stream, flags);
    }
    if (stream == nullptr || std::fclose(stream) != 0) {
        doc->status = xml_status_input_failed;
    }
    return doc->status;
}

int xml_read_file(xml_document *doc, std::FILE *stream, unsigned flags) {
    std::array<char, 2048> buffer;
    xml_refiller in;
    xml_refiller_setup(&in, xml_refiller_function_from_file_stream, buffer.data(), 0, buffer.size());
    in.source.stream = stream;
    doc->line = 1;
    return xml_node_read(&in, doc->root, doc, flags);
}
