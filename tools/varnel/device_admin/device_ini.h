// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "devices/device_table.h"

namespace varnel::tools {

using device_records = std::array<platform::device_record, platform::device_count>;

/// Bad input or a table that cannot be made or read; what() is one line that says what and where.
class device_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads the description of the controllers: a section for each, `smc` or `bmc0` to `bmc255`, with the keys
/// address, user, password, cipher-suite, give-up-after and retransmit-after (docs/porting.md). Throws
/// device_error naming file and line. `name` stands for the file in messages.
device_records read_device_ini(std::FILE *stream, const std::string &name);

/// "smc", "bmc0"...: the section of device `number`.
std::string device_name(unsigned int number);

/// The text of a login field, which is unterminated when full.
std::string_view login_text(const platform::device_record &record, std::size_t offset, std::size_t size);

} // namespace varnel::tools
