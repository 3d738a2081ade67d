// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include <stdlib.h>

#include "support/processes.h"

namespace varnel::bench {

/// A new folder in memory, so that no disk is measured; the destructor removes it with its content.
class memory_folder {
  public:
    memory_folder() { checked(mkdtemp(path_.data()) == nullptr ? -1 : 0, "mkdtemp in /dev/shm"); }
    ~memory_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    memory_folder(const memory_folder &) = delete;
    memory_folder &operator=(const memory_folder &) = delete;

    [[nodiscard]] std::string file(const std::string &name) const { return path_ + '/' + name; }

  private:
    std::string path_ = "/dev/shm/varnel-bench-XXXXXX";
};

} // namespace varnel::bench
