// SPDX-License-Identifier: Apache-2.0
#include "host/input_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace varnel::host {

std::string shown_name(const std::string &path) { return path == "-" ? "standard input" : path; }

input_file::input_file(const std::string &path)
    : name_(shown_name(path)), file_(path == "-" ? stdin : std::fopen(path.c_str(), "re")) {
    if (file_ == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

input_file::~input_file() {
    if (file_ != stdin) {
        std::fclose(file_);
    }
}

std::string input_file::content(std::size_t most) const {
    std::array<char, 65536> piece;
    std::string bytes;
    while (bytes.size() < most) {
        const std::size_t n = std::fread(piece.data(), 1, std::min(piece.size(), most - bytes.size()), file_);
        if (n == 0) {
            break;
        }
        bytes.append(piece.data(), n);
    }
    if (std::ferror(file_) != 0) {
        throw std::system_error(errno, std::generic_category(), name_);
    }
    return bytes;
}

} // namespace varnel::host
