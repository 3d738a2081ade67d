// SPDX-License-Identifier: Apache-2.0
#include "xml/contenders.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <stdexcept>

#include <expat.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include "varnel/xml.h"

namespace varnel::bench {

namespace {

class varnel_library : public tree_library {
  public:
    enum class source { stream, memory };
    varnel_library(const char *name, unsigned flags, source from) : name_(name), flags_(flags), from_(from) {}
    ~varnel_library() override { varnel_library::free_tree(); }
    [[nodiscard]] const char *name() const override { return name_; }
    [[nodiscard]] bool is_ours() const override { return true; }
    bool read(const std::string &text, std::FILE *stream) override {
        document_ = xml_document_new();
        const int result =
            from_ == source::stream ? xml_read_file(document_, stream, flags_) : read_from_memory(text);
        return result == 0 && document_->status == 0;
    }
    void free_tree() override {
        if (document_ != nullptr) {
            xml_node_delete(document_->root);
            xml_document_delete(document_);
            document_ = nullptr;
        }
    }
    bool write(std::FILE *stream) override {
        xml_write_file(document_, stream, xml_flag_indent | xml_flag_tabs);
        return true;
    }

  private:
    int read_from_memory(const std::string &text) {
        const auto size = static_cast<unsigned>(text.size());
        xml_refiller in{};
        xml_refiller_setup(&in, nullptr, const_cast<char *>(text.data()), size, size); // only read
        return xml_node_read(&in, document_->root, document_, flags_);
    }

    const char *name_;
    unsigned flags_;
    source from_;
    xml_document *document_ = nullptr;
};

class pugixml_library : public tree_library {
  public:
    [[nodiscard]] const char *name() const override { return "pugixml"; }
    bool read(const std::string &text, std::FILE * /*stream*/) override {
        document_.emplace();
        return document_->load_buffer(text.data(), text.size());
    }
    void free_tree() override { document_.reset(); }
    bool write(std::FILE *stream) override {
        pugi::xml_writer_file writer(stream);
        document_->save(writer);
        return true;
    }

  private:
    std::optional<pugi::xml_document> document_;
};

class tinyxml2_library : public tree_library {
  public:
    [[nodiscard]] const char *name() const override { return "tinyxml2"; }
    bool read(const std::string &text, std::FILE * /*stream*/) override {
        document_.emplace();
        return document_->Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS;
    }
    void free_tree() override { document_.reset(); }
    bool write(std::FILE *stream) override {
        tinyxml2::XMLPrinter printer(stream);
        document_->Print(&printer);
        return true;
    }

  private:
    std::optional<tinyxml2::XMLDocument> document_;
};

class libxml2_library : public tree_library {
  public:
    [[nodiscard]] const char *name() const override { return "libxml2"; }
    bool read(const std::string &text, std::FILE * /*stream*/) override {
        document_ =
            xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NONET);
        return document_ != nullptr;
    }
    void free_tree() override {
        xmlFreeDoc(document_);
        document_ = nullptr;
    }
    bool write(std::FILE *stream) override {
        xmlDocFormatDump(stream, document_, 1);
        return true;
    }

  private:
    xmlDoc *document_ = nullptr;
};

/// Parses without any handler: no tree.
class expat_library : public tree_library {
  public:
    [[nodiscard]] const char *name() const override { return "expat (no tree)"; }
    bool read(const std::string &text, std::FILE * /*stream*/) override {
        parser_ = XML_ParserCreate(nullptr);
        return XML_Parse(parser_, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
    }
    void free_tree() override {
        XML_ParserFree(parser_);
        parser_ = nullptr;
    }
    bool write(std::FILE * /*stream*/) override { return false; }

  private:
    XML_Parser parser_ = nullptr;
};

void add_string(std::vector<unsigned> &sizes, const char *s) {
    if (s != nullptr) {
        sizes.push_back(static_cast<unsigned>(strlen(s) + 1));
    }
}

} // namespace

std::vector<std::shared_ptr<tree_library>> ways_of_ours() {
    using source = varnel_library::source;
    return {std::make_shared<varnel_library>("varnel", 0, source::stream),
            std::make_shared<varnel_library>("varnel compact", xml_flag_compact, source::stream),
            std::make_shared<varnel_library>("varnel from memory", 0, source::memory),
            std::make_shared<varnel_library>("varnel compact from memory", xml_flag_compact, source::memory)};
}

std::vector<std::shared_ptr<tree_library>> peers() {
    return {std::make_shared<pugixml_library>(), std::make_shared<tinyxml2_library>(),
            std::make_shared<libxml2_library>(), std::make_shared<expat_library>()};
}

std::vector<std::shared_ptr<tree_library>> tree_libraries() {
    auto all = ways_of_ours();
    all.resize(2);
    std::ranges::copy(peers(), std::back_inserter(all));
    return all;
}

std::shared_ptr<tree_library> tree_library_named(const std::string &name) {
    auto all = ways_of_ours();
    std::ranges::copy(peers(), std::back_inserter(all));
    const auto found = std::ranges::find_if(all, [&](const auto &each) { return each->name() == name; });
    if (found == all.end()) {
        throw std::runtime_error("no library " + name);
    }
    return *found;
}

allocation_floor::allocation_floor(std::FILE *stream) {
    xml_document *const document = xml_document_new();
    if (xml_read_file(document, stream, 0) != 0 || document->status != 0) {
        throw std::runtime_error("no tree whose allocations could be repeated");
    }
    xml_iterator it;
    xml_iterator_setup(&it, document);
    for (const xml_node *node = it.current; node != nullptr; node = xml_iterator_next(&it)) {
        sizes_.push_back(sizeof *node);
        add_string(sizes_, node->name);
        for (const xml_attribute *a = node->attributes; a != nullptr; a = a->next) {
            sizes_.push_back(sizeof *a);
            add_string(sizes_, a->name);
            add_string(sizes_, a->value);
        }
        add_string(sizes_, node->value);
    }
    xml_node_delete(document->root);
    xml_document_delete(document);
    blocks_.resize(sizes_.size());
}

void allocation_floor::allocate() {
    for (size_t i = 0; i < sizes_.size(); ++i) {
        blocks_[i] = malloc(sizes_[i]);
    }
}

void allocation_floor::release() {
    for (void *block : blocks_) {
        free(block);
    }
}

} // namespace varnel::bench
