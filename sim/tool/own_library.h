// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::sim::tool {

/// The path of a library that belongs to this command: beside it in a build folder, in the project's own library folder
/// where both are installed. Throws std::runtime_error when it is in neither.
[[nodiscard]] std::string own_library(const char *name);

} // namespace varnel::sim::tool
