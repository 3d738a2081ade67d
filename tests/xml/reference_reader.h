// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/model.h"

namespace varnel::test {

// A second reader, written for clarity alone: one character at a time, recursive, with a state for
// everything. The library's reader must be indistinguishable from it. It works on the same xml_refiller
// record.

int reference_get_char(xml_refiller &r);
int reference_node_read(xml_refiller &r, model_node &parent, model_document &doc, unsigned flags);
int reference_attribute_read(xml_refiller &r, model_attribute &attribute, model_document &doc,
                             unsigned flags);

} // namespace varnel::test
