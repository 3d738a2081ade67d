// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::tools {

/// What a shell offers for DEVICE: the I2C adapters of this machine, "1:0x", and the chips of the simulated board that
/// the shell is on.
[[nodiscard]] std::vector<std::string> devices(const std::vector<std::string> &before);

/// For SECTION, after FILE: the sections of an INI file. None when it cannot be read.
[[nodiscard]] std::vector<std::string> sections(const std::vector<std::string> &before);

/// For KEY, after FILE and SECTION: the keys of a section.
[[nodiscard]] std::vector<std::string> keys(const std::vector<std::string> &before);

} // namespace varnel::tools
