// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/descriptor.h"

namespace varnel::tools {

/// For as long as it lives, what the library prints to standard output goes nowhere: some functions report
/// failures there, and standard output is for data.
class quiet_library {
  public:
    quiet_library();  ///< throws std::system_error
    ~quiet_library(); ///< leaves errno alone
    quiet_library(const quiet_library &) = delete;
    quiet_library &operator=(const quiet_library &) = delete;

  private:
    host::descriptor output_;
};

} // namespace varnel::tools
