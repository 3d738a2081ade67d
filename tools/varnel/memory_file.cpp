// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/memory_file.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>
#include <sys/mman.h>

namespace varnel::tools {

memory_file::memory_file(std::string_view content) : file_(memfd_create("varnel", MFD_CLOEXEC)) {
    if (write(file_.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        throw std::system_error(errno, std::generic_category(), "memory");
    }
}

std::string memory_file::path() const { return fmt::format("/proc/self/fd/{}", file_.get()); }

} // namespace varnel::tools
