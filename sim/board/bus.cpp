// SPDX-License-Identifier: Apache-2.0
#include "sim/board/bus.h"

#include <algorithm>
#include <cerrno>

namespace varnel::sim {

fault *board_chip::striking(fault_kind kind) {
    const auto found = faults.find(kind);
    return found != faults.end() && found->second.strikes() ? &found->second : nullptr;
}

std::vector<reached_segment> wiring::reach(std::size_t from) const {
    std::vector<reached_segment> reached{{from, segments[from].name}};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        const reached_segment here = reached[i];
        for (const connection &at : segments[here.index].connections) {
            for (std::size_t channel = 0; channel < at.part->downstream.size(); ++channel) {
                const std::size_t behind = at.part->downstream[channel];
                if (at.wire().connects(channel) &&
                    std::ranges::find(reached, behind, &reached_segment::index) == reached.end()) {
                    reached.push_back({behind, here.path + "/" + segments[behind].name});
                }
            }
        }
    }
    return reached;
}

transaction::transaction(const wiring &wires, std::size_t adapter_segment)
    : wires_(wires), reached_(wires.reach(adapter_segment)) {
    for (const reached_segment &here : reached_) {
        for (const connection &at : wires_.segments[here.index].connections) {
            stuck_ = at.part->striking(fault_kind::stuck) != nullptr || stuck_;
        }
    }
    if (stuck_) {
        struck_.push_back(fault_kind::stuck);
    }
}

bool transaction::start(uint8_t address, direction way) {
    addressed_.clear();
    listening_.clear();
    for (const reached_segment &here : reached_) {
        for (const connection &at : wires_.segments[here.index].connections) {
            if (at.address == address) {
                addressed_.push_back({at, here.path});
            }
        }
    }
    if (stuck_) {
        return false;
    }
    for (const addressed_chip &chip : addressed_) {
        if (acknowledges(chip.at, way)) {
            listening_.push_back(chip.at);
        }
    }
    return !listening_.empty();
}

bool transaction::acknowledges(const connection &at, direction way) {
    if (refuses(*at.part)) {
        return false;
    }
    remember(at);
    return at.wire().start(way);
}

bool transaction::refuses(board_chip &part) {
    const auto [decision, undecided] = refusals_.try_emplace(&part, false);
    if (undecided && part.striking(fault_kind::nack) != nullptr) {
        decision->second = true;
        struck_.push_back(fault_kind::nack);
    }
    return decision->second;
}

void transaction::remember(const connection &at) {
    const auto same = [&at](const connection &other) {
        return other.part == at.part && other.port == at.port;
    };
    if (std::ranges::none_of(took_part_, same)) {
        took_part_.push_back(at);
    }
}

bool transaction::write(uint8_t byte) {
    bool acknowledged = false;
    for (const connection &at : listening_) {
        acknowledged = at.wire().write(byte) || acknowledged;
    }
    return acknowledged;
}

uint8_t transaction::read() {
    uint8_t byte = 0xFF;
    for (const connection &at : listening_) {
        byte &= at.wire().read();
    }
    return byte;
}

void transaction::stop() {
    for (const connection &at : took_part_) {
        at.wire().stop();
    }
    took_part_.clear();
    listening_.clear();
}

fault *transaction::strike(fault_kind kind) {
    for (const addressed_chip &chip : addressed_) {
        if (fault *const striking = chip.at.part->striking(kind)) {
            struck_.push_back(kind);
            return striking;
        }
    }
    return nullptr;
}

namespace {

/// A transfer under way: the lengths as faults have left them, and the bit that is flipped.
class whole_transfer {
  public:
    whole_transfer(transaction &wire, const transfer_request &request)
        : wire_(wire), request_(request), write_length_(request.data.size()),
          read_length_(request.read_length) {}

    transfer_outcome run() {
        outcome_.error = exchange();
        outcome_.result = outcome_.error != 0 ? -1 : result();
        outcome_.addressed = wire_.addressed();
        return std::move(outcome_);
    }

  private:
    /// Returns 0 or what errno is to be.
    int exchange() {
        const bool writes = request_.kind != operation::read;
        if (!wire_.start(request_.address, writes ? direction::write : direction::read)) {
            return wire_.stuck() ? ETIMEDOUT : ENXIO;
        }
        disturb();
        if (writes && !write_all()) {
            return EIO;
        }
        if (request_.kind == operation::write_read && !wire_.start(request_.address, direction::read)) {
            return ENXIO;
        }
        if (!read_all()) {
            return EPROTO;
        }
        return request_.kind == operation::write_read && shortened_ ? EIO : 0;
    }

    void disturb() {
        std::size_t &length = request_.read_length != 0 ? read_length_ : write_length_;
        if (length != 0 && wire_.strike(fault_kind::short_data) != nullptr) {
            shortened_ = true;
            --length;
        }
        if (length != 0) {
            if (fault *const flip = wire_.strike(fault_kind::flip)) {
                flipped_bit_ = flip->choose(8 * length);
            }
        }
    }

    bool write_all() {
        for (const uint8_t byte : request_.data.first(write_length_)) {
            const bool disturbed = request_.read_length == 0;
            outcome_.written.push_back(byte ^ (disturbed ? noise(outcome_.written.size()) : 0));
            if (!wire_.write(outcome_.written.back())) {
                return false;
            }
        }
        return true;
    }

    /// Returns whether the count, if there is one, is valid.
    bool read_all() {
        while (outcome_.read.size() < read_length_) {
            const auto disturbance = noise(outcome_.read.size());
            outcome_.read.push_back(wire_.read() ^ disturbance);
            if (request_.counted && outcome_.read.size() == 1 && !add_counted()) {
                return false;
            }
        }
        return true;
    }

    bool add_counted() {
        const std::size_t count = outcome_.read.front();
        read_length_ += count;
        return count >= 1 && count <= largest_block;
    }

    [[nodiscard]] uint8_t noise(std::size_t index) const {
        return flipped_bit_ && *flipped_bit_ / 8 == index ? uint8_t(1U << (*flipped_bit_ % 8)) : uint8_t{0};
    }

    [[nodiscard]] int result() const {
        switch (request_.kind) {
        case operation::write:
            return static_cast<int>(outcome_.written.size());
        case operation::read:
            return static_cast<int>(outcome_.read.size());
        default:
            return 0;
        }
    }

    static constexpr std::size_t largest_block = 32; // SMBus 3.2 section 6.5.7 allows 255, Linux 32

    transaction &wire_;
    const transfer_request &request_;
    std::size_t write_length_;
    std::size_t read_length_;
    bool shortened_ = false;
    std::optional<uint64_t> flipped_bit_ = std::nullopt;
    transfer_outcome outcome_{-1, 0};
};

} // namespace

int error_of(const transfer_request &request, const transfer_outcome &outcome) {
    if (outcome.error != 0) {
        return outcome.error;
    }
    const bool all_written = request.kind == operation::read || outcome.written.size() == request.data.size();
    const bool all_read = request.kind == operation::write || outcome.read.size() >= request.read_length;
    return all_written && all_read ? 0 : EIO;
}

std::vector<transfer_outcome> perform(transaction &wire, std::span<const transfer_request> requests) {
    std::vector<transfer_outcome> outcomes;
    for (const transfer_request &request : requests) {
        outcomes.push_back(whole_transfer(wire, request).run());
        outcomes.back().faults = wire.take_struck();
        if (error_of(request, outcomes.back()) != 0) {
            break;
        }
    }
    return outcomes;
}

std::vector<transfer_outcome> perform(const wiring &wires, std::span<const transfer_request> requests) {
    const auto adapter = wires.adapters.find(requests.front().adapter);
    if (adapter == wires.adapters.end()) {
        return {{-1, ENODEV}};
    }
    transaction wire(wires, adapter->second);
    return perform(wire, requests);
}

transfer_outcome perform(const wiring &wires, const transfer_request &request) {
    return perform(wires, std::span(&request, 1)).front();
}

} // namespace varnel::sim
