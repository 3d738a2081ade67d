// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/descriptor.h"
#include "sim/scenario/line_memory.h"

namespace varnel::sim::scenario {

/// A text log that programs write. It need not exist yet; one that has become shorter is read from its beginning.
class followed_log {
  public:
    explicit followed_log(std::string path) : path_(std::move(path)) {}

    /// Takes in the lines that have come. Does not wait.
    void look();
    [[nodiscard]] line_memory &lines() { return lines_; }

  private:
    std::string path_;
    std::size_t read_ = 0; ///< bytes
    line_memory lines_ = {};
};

/// The reading end of a queue of records (varnel/message.h); the payloads are its lines.
class followed_queue {
  public:
    /// Creates the named pipe if it is missing. Throws std::system_error.
    explicit followed_queue(const std::string &path);

    /// Becomes readable when there is something to take in.
    [[nodiscard]] int news() const { return pipe_.get(); }
    /// Takes in the records that have come. Does not wait.
    void look();
    [[nodiscard]] line_memory &lines() { return lines_; }

  private:
    host::descriptor pipe_;
    std::string unfinished_ = {}; ///< record
    line_memory lines_ = {};
};

} // namespace varnel::sim::scenario
