// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/descriptor.h"

namespace varnel::tools {

/// A file that arrives piece by piece, in a folder of its own beside the one it is to replace: that one
/// changes when all is there, and is left alone otherwise.
class arriving_file {
  public:
    /// "-" is standard output; what is no regular file (/dev/null) is written to as it is. Throws
    /// std::system_error.
    explicit arriving_file(const std::string &target);
    ~arriving_file();
    arriving_file(const arriving_file &) = delete;
    arriving_file &operator=(const arriving_file &) = delete;

    /// A named pipe that lives as long as this does.
    [[nodiscard]] std::string pipe() const { return folder_ + "/pipe"; }

    void write(const char *bytes, std::size_t size);
    [[nodiscard]] uint64_t size() const { return size_; }

    /// Puts it in its place. Throws std::system_error.
    void keep();

  private:
    void remove_all() const;
    [[noreturn]] void fail() const;

    std::string name_;   ///< for messages
    std::string target_; ///< what to replace or to write to, behind symbolic links
    std::string folder_;
    std::string new_path_; ///< empty when the target itself is written to
    host::descriptor output_;
    uint64_t size_ = 0;
};

} // namespace varnel::tools
