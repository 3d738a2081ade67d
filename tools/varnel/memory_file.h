// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace varnel::tools {

/// A file in memory, which the library can open by its path, as often as it likes.
class memory_file {
  public:
    /// Throws std::system_error.
    explicit memory_file(std::string_view content);

    [[nodiscard]] std::string path() const;

  private:
    host::descriptor file_;
};

} // namespace varnel::tools
