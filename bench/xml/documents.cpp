// SPDX-License-Identifier: Apache-2.0
#include "xml/documents.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace varnel::bench {

namespace {

std::string text_of(const char *path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (text.empty()) {
        throw std::runtime_error(std::string(path) + ": missing or empty");
    }
    return text;
}

std::string sensor(unsigned board, unsigned number) {
    char text[512];
    (void)snprintf(text, sizeof text,
                   "      <sensor id=\"%u.%u\" type=\"temperature\" unit=\"Cel\" enabled=\"true\">\n"
                   "        <reading>%u.%u</reading>\n"
                   "        <limit kind=\"upper-critical\">95.0</limit>\n"
                   "        <limit kind=\"lower-critical\">5.0</limit>\n"
                   "      </sensor>\n",
                   board, number, 20 + (board + number) % 60, number % 10);
    return text;
}

std::string board(unsigned number) {
    char text[512];
    (void)snprintf(text, sizeof text,
                   "  <board slot=\"%u\" serial=\"SN%08u\" part=\"BMC-2600-%03u\">\n"
                   "    <description>Compute board &amp; controller, revision %u</description>\n"
                   "    <firmware version=\"2.%u.%u\" built=\"2024-03-%02uT12:00:00Z\"/>\n"
                   "    <sensors>\n",
                   number, number * 7919, number % 1000, number % 9, number % 20, number % 7,
                   1 + number % 28);
    std::string result = text;
    for (unsigned i = 0; i < 8; ++i) {
        result += sensor(number, i);
    }
    return result + "    </sensors>\n  </board>\n";
}

std::string inventory(size_t size) {
    std::string text = "<?xml version=\"1.0\"?>\n<!-- made by a generator -->\n<inventory>\n";
    for (unsigned number = 0; text.size() < size; ++number) {
        text += board(number);
    }
    return text + "</inventory>\n";
}

} // namespace

std::vector<document> measured_documents() {
    return {{"freedesktop", "freedesktop.org.xml", text_of("/usr/share/mime/packages/freedesktop.org.xml")},
            {"iso_639-3", "iso_639-3.xml", text_of("/usr/share/xml/iso-codes/iso_639-3.xml")},
            {"inventory", "inventory, 10 MB", inventory(10'000'000)},
            {"inventory_8k", "inventory, 8 KB", inventory(6'500)},
            {"fans", "three fans, 126 bytes",
             "<board slot=\"1\"><fan id=\"1\" rpm=\"4200\">front</fan><fan id=\"2\" rpm=\"4350\">rear</fan>"
             "<fan id=\"3\" rpm=\"0\">spare, off</fan></board>\n"}};
}

document measured_document(const std::string &name) {
    const auto documents = measured_documents();
    const auto found = std::ranges::find_if(documents, [&](const auto &each) { return each.name == name; });
    if (found == documents.end()) {
        throw std::runtime_error("no document " + name);
    }
    return *found;
}

document document_of(std::size_t nodes) {
    std::string text = "<list>";
    for (std::size_t i = 1; i < nodes; ++i) {
        const std::string number = std::to_string(i);
        text.append("<fan id=\"").append(number).append("\">").append(number).append("</fan>");
    }
    text += "</list>";
    return {std::to_string(nodes), std::to_string(nodes) + " nodes", text};
}

stream new_stream() {
    stream result(tmpfile(), fclose);
    if (result == nullptr) {
        throw std::runtime_error("cannot make a temporary file");
    }
    return result;
}

stream stream_of(const std::string &text) {
    stream result = new_stream();
    if (fwrite(text.data(), 1, text.size(), result.get()) != text.size()) {
        throw std::runtime_error("cannot write a temporary file");
    }
    rewind(result.get());
    return result;
}

} // namespace varnel::bench
