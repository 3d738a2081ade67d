// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

namespace varnel::test {

/// Memory for strings, with an end that nothing can be read beyond.
class guarded_page {
  public:
    guarded_page()
        : begin_(static_cast<char *>(
              mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        if (begin_ == MAP_FAILED || mprotect(begin_ + size_, size_, PROT_NONE) != 0) {
            abort();
        }
    }
    ~guarded_page() { munmap(begin_, 2 * size_); }
    guarded_page(const guarded_page &) = delete;
    guarded_page &operator=(const guarded_page &) = delete;

    /// A copy of bytes, so many bytes before the end.
    char *copy_before_end(std::string_view bytes, std::size_t distance) {
        return static_cast<char *>(
            memcpy(begin_ + size_ - distance - bytes.size(), bytes.data(), bytes.size()));
    }

  private:
    const std::size_t size_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char *begin_;
};

} // namespace varnel::test
