// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::test {

/// Gives this process a mount namespace of its own. False when the system does not permit that.
[[nodiscard]] bool enter_private_mounts();

/// Mounts an empty memory file system of `size` bytes, only for this process.
[[nodiscard]] bool mount_memory(const std::string &folder, unsigned int size);

/// Undoes mount_memory(); a mounted folder cannot be removed.
void unmount(const std::string &folder);

} // namespace varnel::test
