// SPDX-License-Identifier: Apache-2.0
#include "host/standard_streams.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace varnel::host {

void open_missing_standard_descriptors() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) >= 0) {
            continue;
        }
        // The lowest free number, which is this one.
        if (open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY) != number) {
            throw std::system_error(errno, std::generic_category(), "/dev/null");
        }
    }
}

void print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) != 0) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
}

bool say(std::string_view line) noexcept {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
    return std::fflush(stderr) == 0 && std::ferror(stderr) == 0;
}

} // namespace varnel::host
