// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::test {

/// From now on this process sees mounts of its own. False where the system does not permit that.
[[nodiscard]] bool enter_private_mounts();

/// Mounts an empty memory file system of `size` bytes, for this process alone.
[[nodiscard]] bool mount_memory(const std::string &folder, unsigned int size);

/// Ends mount_memory(); without it the folder cannot be removed.
void unmount(const std::string &folder);

} // namespace varnel::test
