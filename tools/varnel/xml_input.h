// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>

#include "varnel/xml.h"

namespace varnel::tools {

struct delete_document {
    void operator()(xml_document *document) const;
};
using xml_document_owner = std::unique_ptr<xml_document, delete_document>;

/// What became of a text.
struct xml_text {
    xml_document_owner document; ///< as far as it was read
    int status = 0;              ///< the first error (enum xml_status), or 0
    unsigned int line = 0;       ///< of that error, or of the end
};

/// Reads a document up to its end or to the first error. The reader itself would go on after one, which is
/// good for nothing here, and count lines up to the end.
xml_text read_xml(std::FILE *stream, unsigned int flags);

/// A status in words.
const char *xml_meaning(int status);

} // namespace varnel::tools
