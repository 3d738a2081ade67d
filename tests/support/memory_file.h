// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel::test {

/// A regular file in memory that has a path.
class memory_file {
  public:
    memory_file()
        : descriptor_(memfd_create("varnel", MFD_CLOEXEC)),
          path_("/proc/self/fd/" + std::to_string(descriptor_)) {
        require(descriptor_ >= 0);
    }
    ~memory_file() { close(descriptor_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    const char *path() const { return path_.c_str(); }

    void rewrite(const std::string &bytes) {
        require(ftruncate(descriptor_, 0) == 0);
        require(pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }

    std::string content() const {
        struct stat status {};
        require(fstat(descriptor_, &status) == 0);
        std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
        require(pread(descriptor_, bytes.data(), bytes.size(), 0) == status.st_size);
        return bytes;
    }

  private:
    static void require(bool holds) {
        if (!holds) {
            std::perror("memory_file");
            std::abort();
        }
    }

    int descriptor_;
    std::string path_;
};

} // namespace varnel::test
