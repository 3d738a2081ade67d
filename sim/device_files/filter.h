// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace varnel::sim::device_files {

/// The numbers of descriptors of device files. Calls with other descriptors are not looked at, so they cost nothing.
inline constexpr int first_device_descriptor = 768;
inline constexpr int last_device_descriptor = 1023;

/// Which system calls a supervisor is asked about.
enum class looked_at {
    device_files,
    device_files_and_time, ///< also clocks and waits, and what makes a difference to others (virtual_time/keeper.h)
};

/// From now on the system calls of this process, and of all that it starts, that may concern device files or time wait for a
/// supervisor (seccomp(2), SECCOMP_RET_USER_NOTIF). Set-user-ID programs no longer get other rights. Returns the
/// descriptor that the supervisor listens at, or -1 with errno: EBUSY when there is a supervisor already.
[[nodiscard]] int install_filter(looked_at what);

} // namespace varnel::sim::device_files
