// SPDX-License-Identifier: Apache-2.0
#include "host/input_file.h"

#include <cerrno>
#include <system_error>

namespace varnel::host {

std::string shown_name(const std::string &path) { return path == "-" ? "standard input" : path; }

input_file::input_file(const std::string &path)
    : file_(path == "-" ? stdin : std::fopen(path.c_str(), "re")) {
    if (file_ == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

input_file::~input_file() {
    if (file_ != stdin) {
        std::fclose(file_);
    }
}

} // namespace varnel::host
