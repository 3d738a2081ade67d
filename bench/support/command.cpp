// SPDX-License-Identifier: Apache-2.0
#include "support/command.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace varnel::bench {

std::string output_of(const std::string &command) {
    std::fflush(nullptr);
    std::FILE *const child = popen(command.c_str(), "r");
    if (child == nullptr) {
        throw std::runtime_error("cannot run: " + command);
    }
    std::string output;
    std::array<char, 4096> piece;
    for (std::size_t n = 0; (n = std::fread(piece.data(), 1, piece.size(), child)) > 0;) {
        output.append(piece.data(), n);
    }
    if (pclose(child) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return output;
}

std::string quoted(const std::string &word) {
    std::string text = "'";
    for (const char each : word) {
        text += each == '\'' ? std::string("'\\''") : std::string(1, each);
    }
    return text + "'";
}

} // namespace varnel::bench
