// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "tools/varnel/commands.h"

namespace varnel::tools {

/// The user did not confirm, or could not be asked. Nothing has been written.
class refusal : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Before a write that can hurt. `statement` says what will be written, where, and what that does: "1:0x58:
/// output off; what it feeds loses power". It is printed on standard error; then the user is asked, unless
/// --yes was given. Throws refusal, also when standard input is not a terminal.
void confirm(const invocation &call, const std::string &statement);

} // namespace varnel::tools
