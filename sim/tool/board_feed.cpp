// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/board_feed.h"

#include <utility>

#include <fmt/format.h>

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;
using std::chrono::milliseconds;

namespace {

/// What a page that has just been opened sees of the past.
constexpr std::size_t kept_transfers = 8192;
/// Of events for a page that is slow; one that is slower begins anew.
constexpr std::size_t kept_bytes = 4'000'000;
/// How often pages are told the time of a board on which nothing changes.
constexpr milliseconds time_period{1000};
/// A page asks again at least so often.
constexpr milliseconds attention{3000};

std::string event(std::string_view name, std::string_view data) {
    return fmt::format("event: {}\ndata: {}\n\n", name, data);
}

std::string text_of(const json &value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

/// The chips that are not what they were.
json changes(const json &before, const json &now) {
    json changed = json::object();
    for (const auto &[name, chip] : now.items()) {
        if (before.is_null() || before.at("chips").value(name, json()) != chip) {
            changed[name] = chip;
        }
    }
    return changed;
}

} // namespace

void board_feed::add_status(json status) {
    const std::lock_guard lock(mutex_);
    const json changed = changes(status_, status.at("chips"));
    const json before = std::exchange(status_, std::move(status));
    const bool first = before.is_null();
    const bool is_virtual = introduction_.at("virtual_time");
    const bool other_time =
        is_virtual && !first && before.at("uptime_seconds") != status_.at("uptime_seconds");
    const bool due = !is_virtual && steady_clock::now() - told_time_ >= time_period;
    if (!first &&
        (!changed.empty() || other_time || due || before.at("programs") != status_.at("programs"))) {
        told_time_ = steady_clock::now();
        publish("chips", text_of({{"uptime_seconds", status_.at("uptime_seconds")},
                                  {"programs", status_.at("programs")},
                                  {"chips", changed}}));
    }
}

void board_feed::add_transfer(const json &record) {
    const std::lock_guard lock(mutex_);
    transfers_.push_back(text_of(record));
    unpublished_ += (unpublished_.empty() ? "" : ",") + transfers_.back();
    ++unpublished_transfers_;
    if (transfers_.size() > kept_transfers) {
        transfers_.pop_front();
    }
}

void board_feed::publish_transfers() {
    const std::lock_guard lock(mutex_);
    if (!unpublished_.empty()) {
        unpublished_transfers_ = 0;
        publish("trace", '[' + std::exchange(unpublished_, {}) + ']');
    }
}

void board_feed::add_lost(uint64_t transfers) {
    publish_transfers();
    const std::lock_guard lock(mutex_);
    publish("lost", fmt::to_string(transfers));
}

void board_feed::add_time(json time) {
    const std::lock_guard lock(mutex_);
    if (time_ != time) {
        time_ = std::move(time);
        publish("time", text_of(time_));
    }
}

void board_feed::end() {
    publish_transfers();
    const std::lock_guard lock(mutex_);
    ended_ = true;
    publish("end", "null");
}

void board_feed::publish(std::string_view name, const std::string &data) {
    events_.push_back(std::make_shared<const std::string>(event(name, data)));
    size_ += events_.back()->size();
    ++published_;
    while (size_ > kept_bytes && events_.size() > 1) {
        size_ -= events_.front()->size();
        events_.pop_front();
    }
    news_.notify_all();
}

std::string board_feed::whole_state() const {
    json all = introduction_;
    all.update(status_);
    std::string text = event("board", text_of(all));
    if (!time_.is_null()) {
        text += event("time", text_of(time_));
    }
    // What is not published yet comes with the next event.
    std::string records;
    for (std::size_t i = 0; i + unpublished_transfers_ < transfers_.size(); ++i) {
        records += (i == 0 ? "" : ",") + transfers_[i];
    }
    text += event("trace", '[' + records + ']');
    return ended_ ? text + event("end", "null") : text;
}

std::string board_feed::events_after(uint64_t &seen, milliseconds limit) {
    std::unique_lock lock(mutex_);
    last_asked_ = steady_clock::now();
    const uint64_t oldest = published_ - events_.size() + 1;
    if (seen == 0 || seen + 1 < oldest) {
        news_.wait_for(lock, limit, [this] { return !status_.is_null(); });
        seen = status_.is_null() ? 0 : published_;
        return status_.is_null() ? std::string() : whole_state();
    }
    news_.wait_for(lock, limit, [this, seen] { return published_ != seen || ended_; });
    std::string text;
    for (auto each = events_.end() - static_cast<std::ptrdiff_t>(published_ - seen); each != events_.end();
         ++each) {
        text += **each;
    }
    seen = published_;
    return text;
}

bool board_feed::ended() {
    const std::lock_guard lock(mutex_);
    return ended_;
}

bool board_feed::is_watched() {
    const std::lock_guard lock(mutex_);
    return steady_clock::now() - last_asked_ < attention;
}

std::deque<std::string> board_feed::transfers() {
    const std::lock_guard lock(mutex_);
    return transfers_;
}

} // namespace varnel::sim::tool
