// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/descriptor.h"

namespace varnel::tools {

/// A record of a queue, as it travels.
class queue_record {
  public:
    /// Throws bad_usage when the header is longer than 40 or the payload than 61440 bytes.
    queue_record(const std::string &header, const std::string &payload);
    /// One that arrived.
    explicit queue_record(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}

    [[nodiscard]] const std::vector<uint8_t> &bytes() const { return bytes_; }
    [[nodiscard]] std::string header() const;
    [[nodiscard]] std::string payload() const;

  private:
    std::vector<uint8_t> bytes_;
};

/// What waits in a queue.
struct queue_content {
    std::size_t records; ///< complete ones
    std::size_t bytes;
};

/// Counts what waits in a queue, and leaves it there. Throws failed.
queue_content count_queue(const std::string &path);

/// Throws failed or std::system_error unless the path is a named pipe.
void check_pipe(const std::string &path);

/// Whether a process has it open for reading; what waits is lost when no process has it open any more. Throws
/// failed.
bool has_reader(const std::string &path);

/// A queue: a named pipe that daemons post records to.
class record_pipe {
  public:
    enum class use { post, post_without_waiting, read };

    /// Throws failed or std::system_error when the path is no named pipe or cannot be opened. `post` waits
    /// until a reader has it open; `post_without_waiting` fails when there is none.
    record_pipe(std::string path, use purpose);

    /// Throws failed.
    void post(const queue_record &record) const;

    /// The next record, which stays in the queue; nothing when none begins within `wait`. Throws failed when
    /// it begins and is not complete by then, and when the queue is out of step.
    [[nodiscard]] std::optional<queue_record> next(std::optional<std::chrono::milliseconds> wait) const;

    /// Removes what next() has returned. Throws failed when another process has removed something.
    void remove(const queue_record &record) const;

    /// Bytes that wait to be read.
    [[nodiscard]] std::size_t waiting() const;

  private:
    [[nodiscard]] std::optional<std::size_t> next_size() const;
    void wait_for_more(std::chrono::milliseconds most) const;
    void ensure_room() const;

    std::string path_;
    use purpose_;
    host::descriptor pipe_;
};

} // namespace varnel::tools
