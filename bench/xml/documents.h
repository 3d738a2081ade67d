// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// A document to measure with.
struct document {
    std::string name;
    std::string text;
};

/// Two documents of Debian packages and an inventory of some 10 MB that is made here. Empty, with a message
/// on standard error, when a file is missing.
std::vector<document> measured_documents();
