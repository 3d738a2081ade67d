// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace varnel::bench {

/// A document to measure with.
struct document {
    std::string name; ///< part of the ids of its figures
    std::string title;
    std::string text;
};

/// Two documents of Debian packages, inventories of some 10 MB and 8 KB that are made here, and one of 126
/// bytes. Throws std::runtime_error when a file is missing.
std::vector<document> measured_documents();

/// The one of that name. Throws std::runtime_error when there is none.
document measured_document(const std::string &name);

/// A root and its children.
document document_of(std::size_t nodes);

/// A nameless file, gone when it is closed.
using stream = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;
stream new_stream();
/// With the text, at its beginning.
stream stream_of(const std::string &text);

} // namespace varnel::bench
