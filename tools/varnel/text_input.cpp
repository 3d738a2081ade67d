// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/text_input.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <system_error>

#include <fmt/format.h>

namespace varnel::tools {

void each_text(const std::vector<std::string> &words, const std::function<void(const std::string &)> &take) {
    if (!words.empty()) {
        take(fmt::format("{}", fmt::join(words, " ")));
        return;
    }
    errno = 0;
    std::string line;
    while (std::getline(std::cin, line)) {
        take(line);
        errno = 0;
    }
    if (errno != 0) {
        throw std::system_error(errno, std::generic_category(), "standard input");
    }
}

std::string shown_name(const std::string &path) { return path == "-" ? "standard input" : path; }

std::string read_some(const std::string &path, std::size_t most) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> opened(
        path == "-" ? nullptr : std::fopen(path.c_str(), "re"), std::fclose);
    std::FILE *const file = path == "-" ? stdin : opened.get();
    std::string bytes(most, '\0');
    bytes.resize(file != nullptr ? std::fread(bytes.data(), 1, most, file) : 0);
    if (file == nullptr || std::ferror(file) != 0) {
        throw std::system_error(errno, std::generic_category(), shown_name(path));
    }
    return bytes;
}

} // namespace varnel::tools
