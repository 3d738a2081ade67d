// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "host/json.h"

namespace varnel::sim::tool {

/// What happens on a board as numbered events for pages: one thread reads the board and adds to it, each page is told by a
/// thread of its own. An event is text/event-stream with JSON:
///   board  all of the introduction and the status (sim/protocol/board_json.h)
///   chips  {"uptime_seconds", "programs", "chips": {those that have changed}}
///   trace  [RECORD...]
///   lost   number of transfers that nobody will see
///   time   as in time_control.h
///   end    null: there is no more
class board_feed {
  public:
    using json = nlohmann::ordered_json;

    explicit board_feed(json introduction) : introduction_(std::move(introduction)) {}

    /// A reply to "show". What differs from the one before becomes an event.
    void add_status(json status);
    /// A transfer; events are made of many.
    void add_transfer(const json &record);
    void add_lost(uint64_t transfers);
    void add_time(json time);
    void publish_transfers();
    void end();

    /// page_source::events_after().
    [[nodiscard]] std::string events_after(uint64_t &seen, std::chrono::milliseconds limit);
    [[nodiscard]] bool ended();
    /// Whether any page has asked for events lately.
    [[nodiscard]] bool is_watched();
    /// The transfers that are kept, as JSON each.
    [[nodiscard]] std::deque<std::string> transfers();

  private:
    using steady_clock = std::chrono::steady_clock;

    void publish(std::string_view name, const std::string &data);
    [[nodiscard]] std::string whole_state() const;

    json introduction_;
    std::mutex mutex_ = {};
    std::condition_variable news_ = {};
    json status_ = nullptr;
    json time_ = nullptr;
    steady_clock::time_point told_time_ = {};
    std::deque<std::string> transfers_ = {};
    std::string unpublished_ = {};
    std::size_t unpublished_transfers_ = 0;
    std::deque<std::shared_ptr<const std::string>> events_ = {};
    std::size_t size_ = 0;   ///< of the events
    uint64_t published_ = 1; ///< number of the last event; 0 is for pages that have seen none
    bool ended_ = false;
    steady_clock::time_point last_asked_ = {};
};

} // namespace varnel::sim::tool
