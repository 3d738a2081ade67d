// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "controllers/controller_table.h"

namespace varnel::test {

/// The name of a controller table of this process, which the platform reads from now on; the destructor
/// removes the table.
class own_table_name {
  public:
    own_table_name() { setenv(platform::table_name_variable, name_.c_str(), 1); }
    ~own_table_name() { shm_unlink(name_.c_str()); }
    own_table_name(const own_table_name &) = delete;
    own_table_name &operator=(const own_table_name &) = delete;

    [[nodiscard]] const std::string &text() const { return name_; }

  private:
    std::string name_ = "/varnel-fuzz-" + std::to_string(getpid());
};

} // namespace varnel::test
