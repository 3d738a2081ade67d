// SPDX-License-Identifier: Apache-2.0
#include "captured_output.h"

#include <array>
#include <cstdlib>

#include <unistd.h>

namespace varnel::test {

captured_output::captured_output() : saved_descriptor_(dup(STDOUT_FILENO)), file_(std::tmpfile()) {
    if (saved_descriptor_ < 0 || file_ == nullptr || std::fflush(stdout) != 0 ||
        dup2(fileno(file_), STDOUT_FILENO) < 0) {
        std::perror("captured_output");
        std::abort();
    }
}

captured_output::~captured_output() {
    restore();
    std::fclose(file_);
}

std::string captured_output::text() {
    restore();
    std::rewind(file_);
    std::string all;
    std::array<char, 4096> chunk{};
    for (std::size_t n = 0; (n = std::fread(chunk.data(), 1, chunk.size(), file_)) > 0;) {
        all.append(chunk.data(), n);
    }
    return all;
}

void captured_output::restore() {
    if (saved_descriptor_ >= 0) {
        std::fflush(stdout);
        dup2(saved_descriptor_, STDOUT_FILENO);
        close(saved_descriptor_);
        saved_descriptor_ = -1;
    }
}

} // namespace varnel::test
