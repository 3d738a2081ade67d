// SPDX-License-Identifier: Apache-2.0
// Every XML file of the system that reads well is written and read again, and gives the same tree.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "varnel/xml.h"
#include "xml/model.h"
#include "xml/read_text.h"

using varnel::test::dump;

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> xml_files_below(const fs::path &folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, error),
         end;
         at != end; at.increment(error)) {
        if (at->path().extension() == ".xml" && at->is_regular_file(error)) {
            files.push_back(at->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

class document {
  public:
    document() = default;
    ~document() {
        xml_node_delete(doc_->root);
        xml_document_delete(doc_);
    }
    document(const document &) = delete;
    document &operator=(const document &) = delete;

    xml_document *operator->() const { return doc_; }
    operator xml_document *() const { return doc_; }

  private:
    xml_document *doc_ = xml_document_new();
};

xml_sgs *written(const xml_document *doc, unsigned flags) {
    xml_sgs *const text = xml_sgs_new();
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_sgs);
    out.target.sgs = text;
    xml_node_write(&out, doc->root, flags);
    return text;
}

void read_again(xml_document *doc, const xml_sgs *text, unsigned flags) {
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text->buffer, text->length, text->length);
    xml_node_read(&r, doc->root, doc, flags | varnel::test::tree_kind);
}

/// Writing adds a blank on either side of a comment: takes them off again.
void strip_comments(xml_node *root) {
    for (xml_iterator it{nullptr, root, root, 0, 0}; it.current != nullptr;) {
        xml_node *const node = it.current;
        if (node->kind == xml_kind_comment) {
            ASSERT_GE(node->value_length, 2U);
            ASSERT_EQ(node->value[0], ' ');
            ASSERT_EQ(node->value[node->value_length - 1], ' ');
            node->value_length -= 2;
            memmove(node->value, node->value + 1, node->value_length);
            node->value[node->value_length] = '\0';
        }
        if (xml_iterator_next(&it) == nullptr) {
            break;
        }
    }
}

/// False for a file that does not read well; the test is over for it then.
bool check(const fs::path &path) {
    document first;
    if (xml_read(first, path.c_str(), varnel::test::tree_kind) != 0) {
        return false;
    }
    xml_sgs *const text = written(first, 0);
    document second;
    read_again(second, text, 0);
    EXPECT_EQ(second->status, 0);
    EXPECT_EQ(second->node_count, first->node_count);
    strip_comments(second->root);
    EXPECT_TRUE(dump(*second->root) == dump(*first->root)) << "the trees differ";
    EXPECT_EQ(dump(*first->root).find(varnel::test::broken), std::string::npos);
    xml_sgs_delete(text);
    return true;
}

TEST(round_trip, every_xml_file_below_usr_share_is_read_back_equal) {
    size_t good = 0;
    const std::vector<fs::path> files = xml_files_below("/usr/share");
    for (const fs::path &path : files) {
        SCOPED_TRACE(path.string());
        good += check(path) ? 1 : 0;
    }
    if (good == 0) {
        GTEST_SKIP() << "no XML files on this system";
    }
    RecordProperty("files", static_cast<int>(files.size()));
    RecordProperty("read_well", static_cast<int>(good));
    std::cout << good << " of " << files.size() << " files read with status 0\n";
}

} // namespace
