// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/text_input.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

#include <fmt/format.h>

#include "host/input_file.h"

namespace varnel::tools {

void each_text(const std::vector<std::string> &words, const std::function<void(const std::string &)> &use) {
    if (!words.empty()) {
        use(fmt::format("{}", fmt::join(words, " ")));
        return;
    }
    errno = 0;
    std::string line;
    while (std::getline(std::cin, line)) {
        use(line);
        errno = 0;
    }
    if (errno != 0) {
        throw std::system_error(errno, std::generic_category(), "standard input");
    }
}

std::string read_some(const std::string &path, std::size_t most) {
    return host::input_file(path).content(most);
}

} // namespace varnel::tools
