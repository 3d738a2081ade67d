// SPDX-License-Identifier: Apache-2.0
// Compares the reader with the reference reader, on any text in any pieces. A document that was read without
// an error is written and read again.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/xml/model.h"
#include "tests/xml/reference_writer.h"
#include "tests/xml/scenario.h"
#include "varnel/xml.h"

using namespace varnel::test;

namespace {

void require_same(const std::string &ours, const std::string &expected, const char *what) {
    if (ours != expected) {
        (void)fprintf(stderr, "%s differ:\n%s\nreference:\n%s\n", what, ours.c_str(), expected.c_str());
        abort();
    }
}

/// The last bytes choose how the text is read, so that seeds are documents.
scenario scenario_from(const uint8_t *data, size_t size) {
    const uint8_t choice = size > 0 ? data[size - 1] : 0;
    const size_t act_count = choice & 7U;
    scenario s;
    s.attributes = (choice & 0x18U) == 0x18;
    s.flags = (choice & 0x20U) != 0 ? xml_flag_raw : 0;
    s.name = (choice & 0x40U) != 0 ? std::optional<std::string>("a") : std::nullopt;
    s.reads = !s.attributes && (choice & 0x80U) != 0 ? 3 : 1;
    size_t end = size > 0 ? size - 1 : 0;
    for (size_t i = 0; i < act_count && end > 0; ++i) {
        s.acts.push_back(static_cast<refill_act>(data[--end] % refill_acts));
    }
    if (end > 0) {
        constexpr unsigned capacities[] = {0, 1, 2, 3, 7, 64, 2047, 2048};
        const uint8_t more = data[--end];
        s.capacity = capacities[more & 7U];
        s.pushed = (more & 0x38U) == 0x38 ? "<>x\n"[more >> 6U] : -256;
        s.status = (more & 0x38U) == 0x30 ? xml_status_unmatched_end_tag : xml_status_good;
        s.error = (more & 0x38U) == 0x28 ? 5 : 0;
    }
    s.text.assign(reinterpret_cast<const char *>(data), end);
    return s;
}

class document {
  public:
    document(std::string text, unsigned flags) {
        xml_refiller in{};
        const auto size = static_cast<unsigned>(text.size());
        xml_refiller_setup(&in, nullptr, text.data(), size, size);
        xml_node_read(&in, doc_->root, doc_, flags);
    }
    ~document() {
        xml_node_delete(doc_->root);
        xml_document_delete(doc_);
    }
    document(const document &) = delete;
    document &operator=(const document &) = delete;

    [[nodiscard]] const xml_node &root() const { return *doc_->root; }
    [[nodiscard]] bool good() const { return doc_->status == 0; }

  private:
    xml_document *doc_ = xml_document_new();
};

/// Whether a document is unchanged after writing and reading. Comments get spaces, a text at the top gets the
/// document's newline, and NUL ends strings.
bool is_kept_by_writing(const document &doc, const std::string &text) {
    bool kept = doc.good() && text.find("<!--") == std::string::npos && text.find('\0') == std::string::npos;
    for (const xml_node *n = doc.root().first_child; n != nullptr; n = n->next) {
        kept = kept && n->kind != xml_kind_text;
    }
    return kept;
}

void write_and_read_again(const scenario &s) {
    const document first(s.text, s.flags);
    const bool small = s.text.size() < 4096; // indentation makes deep trees long
    const unsigned flags = small ? (s.capacity & 7U) | s.flags : s.flags;
    require_same(written_by_library(first.root(), flags), written_by_reference(first.root(), flags),
                 "written texts");
    if (s.flags == 0 && is_kept_by_writing(first, s.text)) {
        // Only now are all elements closed, which is where single texts become values.
        const document second(bytes_by_reference(first.root(), 0), 0);
        const document third(bytes_by_reference(second.root(), 0), 0);
        if (second.good() && third.good()) { // a value near its limit can become too long
            require_same(dump(third.root()), dump(second.root()), "trees read again");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const scenario s = scenario_from(data, size);
    const std::string expected = seen_from_reference(s);
    require_same(seen_from_library(s, 0), expected, "readings");
    require_same(seen_from_library(s, xml_flag_compact), expected, "compact readings");
    write_and_read_again(s);
    return 0;
}
