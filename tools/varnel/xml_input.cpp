// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/xml_input.h"

#include <new>

namespace varnel::tools {

namespace {

/// Hands a stream to the reader byte by byte, so that whatever is wrong with a byte is known when the next
/// one is asked for.
class watched_input {
  public:
    watched_input(std::FILE *stream, xml_document &document) : stream_(stream), document_(document) {
        xml_refiller_setup(&refiller_, refill, &byte_, 0, sizeof byte_);
        refiller_.source.pointer = this;
    }

    void read_into(xml_text &text, unsigned int flags) {
        document_.line = 1;
        line_ = 1;
        xml_node_read(&refiller_, document_.root, &document_, flags | xml_flag_compact);
        note_error();
        text.status = status_;
        text.line = status_ == 0 ? document_.line : line_;
    }

  private:
    static int refill(xml_refiller *r) {
        static_cast<watched_input *>(r->source.pointer)->next_byte();
        return 0;
    }

    void next_byte() {
        note_error();
        refiller_.position = 0;
        refiller_.fill = 0;
        if (status_ == 0) {
            const int c = std::getc(stream_);
            byte_ = static_cast<char>(c);
            refiller_.fill = c == EOF ? 0 : 1;
            refiller_.error = std::ferror(stream_) != 0 ? xml_status_input_failed : 0;
        }
    }

    /// The line of an error is the one that held the byte before.
    void note_error() {
        if (status_ == 0) {
            status_ = document_.status;
        }
        if (status_ == 0) {
            line_ = document_.line;
        }
    }

    std::FILE *stream_;
    xml_document &document_;
    xml_refiller refiller_{};
    char byte_ = 0;
    int status_ = 0;
    unsigned int line_ = 0;
};

} // namespace

void delete_document::operator()(xml_document *document) const {
    xml_node_delete(document->root);
    xml_document_delete(document);
}

xml_text read_xml(std::FILE *stream, unsigned int flags) {
    xml_text text;
    text.document.reset(xml_document_new());
    if (!text.document || text.document->status != 0) {
        throw std::bad_alloc();
    }
    watched_input(stream, *text.document).read_into(text, flags);
    return text;
}

const char *xml_meaning(int status) {
    switch (status) {
    case xml_status_good:
        return "good";
    case xml_status_input_failed:
        return "cannot be read";
    case xml_status_out_of_memory:
        return "out of memory";
    case xml_status_bad_name:
        return "a character that cannot be in a name or follow <";
    case xml_status_bad_attribute_start:
        return "an attribute that does not begin with a letter";
    case xml_status_bad_attribute:
        return "a malformed attribute";
    case xml_status_name_too_long:
        return "a name longer than 127 characters, or cut off";
    case xml_status_attribute_too_long:
        return "an attribute name longer than 128 characters";
    case xml_status_value_too_long:
        return "an attribute value longer than 256 characters";
    case xml_status_unmatched_end_tag:
        return "an end tag that does not match the open element";
    case xml_status_unterminated_entity:
        return "& without its ;";
    case xml_status_short_entity:
        return "an entity without a name";
    default:
        return "unknown";
    }
}

} // namespace varnel::tools
