// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <sys/types.h>

#include "sim/protocol/channel.h"

namespace varnel::sim::device_files {

/// A system call that waits for its result.
struct system_call {
    uint64_t id;
    pid_t thread;
    int number;
    std::array<uint64_t, 6> arguments;
};

/// Where the kernel hands over system calls (seccomp_unotify(2)). A call whose thread was killed meanwhile is nobody's:
/// answers to it do nothing.
class call_listener {
  public:
    explicit call_listener(descriptor listener);

    [[nodiscard]] int get() const { return listener_.get(); }
    /// The next call; nothing when it was given up meanwhile.
    [[nodiscard]] std::optional<system_call> receive() const;

    /// Whether the call still waits.
    [[nodiscard]] bool waits(const system_call &call) const;
    /// Lets the kernel carry it out as if there were no supervisor.
    void pass_on(const system_call &call) const;
    void succeed(const system_call &call, int64_t result) const;
    void fail(const system_call &call, int error) const;
    /// Gives the calling process a descriptor of `file`, closed by exec, while the call still waits. Its number; nothing
    /// when the process cannot take it.
    [[nodiscard]] std::optional<int> add_file(const system_call &call, int file) const;
    /// Succeeds with a descriptor of `file` in the calling process: number `wanted`, or the lowest free one. Returns
    /// whether the process could take it; if not, the call still waits.
    [[nodiscard]] bool succeed_with_file(const system_call &call, int file, bool close_on_exec,
                                         std::optional<int> wanted) const;

  private:
    descriptor listener_;
};

/// The memory of a process.
class process_memory {
  public:
    explicit process_memory(pid_t thread) : thread_(thread) {}

    /// Return whether all of it could be copied.
    [[nodiscard]] bool read(uint64_t address, std::span<uint8_t> to) const;
    [[nodiscard]] bool write(uint64_t address, std::span<const uint8_t> from) const;
    /// Text up to its NUL; nothing if it is longer than a path may be, or not there.
    [[nodiscard]] std::optional<std::string> read_path(uint64_t address) const;

  private:
    pid_t thread_;
};

} // namespace varnel::sim::device_files
