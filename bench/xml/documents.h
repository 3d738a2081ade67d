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

/// Two documents of Debian packages and an inventory of some 10 MB that is made here. Throws
/// std::runtime_error when a file is missing.
std::vector<document> measured_documents();

/// A root and its children.
document document_of(std::size_t nodes);

/// A nameless file, gone when it is closed.
using stream = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;
stream new_stream();
/// With the text, at its beginning.
stream stream_of(const std::string &text);

} // namespace varnel::bench
