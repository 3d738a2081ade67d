// SPDX-License-Identifier: Apache-2.0
#include "host/line_output.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/command_line.h"

namespace varnel::host {

line_output::line_output(std::string name)
    : name_(std::move(name)), file_(name_ == "-" ? stdout : std::fopen(name_.c_str(), "we")) {
    if (file_ == nullptr) {
        throw bad_usage(fmt::format("{}: {}", name_, std::strerror(errno)));
    }
}

line_output::line_output(line_output &&other) noexcept
    : name_(std::move(other.name_)), file_(std::exchange(other.file_, nullptr)) {}

line_output::~line_output() {
    if (file_ != nullptr && file_ != stdout) {
        std::fclose(file_); // each line has been flushed
    }
}

void line_output::print(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), file_);
    std::fputc('\n', file_);
    flush();
}

void line_output::write(std::string_view bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), file_);
    flush();
}

void line_output::flush() {
    if (std::fflush(file_) != 0) {
        throw std::system_error(errno, std::generic_category(), name_ == "-" ? "standard output" : name_);
    }
}

} // namespace varnel::host
