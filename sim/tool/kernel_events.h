// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/descriptor.h"

namespace varnel::sim::tool {

/// The I2C events of this machine's kernel, as text, from now on. They come through a trace of our own (`instances` in tracefs):
/// what others trace goes on as it was. Functions throw bad_usage or std::system_error; what() is one line that says
/// what is to be done.
class kernel_events {
  public:
    /// `tracefs` is where it is mounted, if not in the usual place.
    explicit kernel_events(const std::optional<std::string> &tracefs);
    /// Leaves the kernel as it was.
    ~kernel_events();
    kernel_events(const kernel_events &) = delete;
    kernel_events &operator=(const kernel_events &) = delete;

    /// What the kernel has printed of them and has not been read yet.
    [[nodiscard]] std::string read();
    /// No further events come.
    void stop();

  private:
    std::filesystem::path trace_;
    host::descriptor pipe_{};
};

} // namespace varnel::sim::tool
