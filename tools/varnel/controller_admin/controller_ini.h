// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "controllers/controller_table.h"

namespace varnel::tools {

using controller_records = std::array<platform::controller_record, platform::controller_count>;

/// A table that cannot be made or read; what() is one line that says what and where.
class controller_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads the description of the controllers: a section for each, `smc` or `bmc0` to `bmc255`, with the keys
/// address, user, password, cipher-suite, give-up-after and retransmit-after (docs/porting.md). Throws
/// host::bad_line; `file` is for messages.
controller_records read_controller_ini(std::istream &input, const std::string &file);

/// "smc", "bmc0"...: the section of controller `number`.
std::string controller_name(unsigned int number);

/// The text of a login field, which is unterminated when full.
std::string_view login_text(const platform::controller_record &record, std::size_t offset, std::size_t size);

} // namespace varnel::tools
