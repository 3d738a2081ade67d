// SPDX-License-Identifier: Apache-2.0
// Whole transfers, and what faults do to their bytes.
#include <cerrno>

#include "sim/board/bus.h"
#include "sim/models/packet_error_code.h"

namespace varnel::sim {

namespace {

/// A transfer under way: the lengths as faults have left them, and the bytes that they strike.
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
            return wire_.failure() != 0 ? wire_.failure() : ENXIO;
        }
        disturb();
        if (const int error = writes ? write_all() : 0; error != 0) {
            return error;
        }
        if (request_.kind == operation::write_read && !wire_.start(request_.address, direction::read)) {
            return ENXIO;
        }
        if (const int error = read_all(); error != 0) {
            return error;
        }
        freeze();
        spoil_pec();
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
        refused_byte_ = struck_byte(fault_kind::nack_byte, write_length_);
        last_byte_ = struck_byte(fault_kind::stretch, write_length_ + read_length_);
        cut_power();
    }

    /// Some bytes of a write stay, at least the first, which says where they go.
    void cut_power() {
        board_chip *const part = wire_.find(fault_kind::power_loss);
        if (part == nullptr || request_.kind != operation::write || write_length_ < 2) {
            return;
        }
        if (fault *const loss = wire_.strike(fault_kind::power_loss)) {
            kept_bytes_ = 1 + static_cast<std::size_t>(loss->choose(write_length_ - 1));
            wire_.lose_power(*part);
        }
    }

    /// The byte, from 1, that a fault strikes; 0 for none, also when the transfer has only `length` bytes before it.
    std::size_t struck_byte(fault_kind kind, std::size_t length) {
        const board_chip *const part = wire_.find(kind);
        if (part == nullptr || part->faults.at(kind).parameter() > length) {
            return 0;
        }
        const fault *const striking = wire_.strike(kind);
        return striking == nullptr ? 0 : static_cast<std::size_t>(striking->parameter());
    }

    [[nodiscard]] bool clock_is_held() const {
        return last_byte_ != 0 && outcome_.written.size() + outcome_.read.size() == last_byte_;
    }

    /// Returns 0 or what errno is to be; so do the next ones.
    int write_all() {
        for (const uint8_t byte : request_.data.first(write_length_)) {
            const bool disturbed = request_.read_length == 0;
            outcome_.written.push_back(byte ^ (disturbed ? noise(outcome_.written.size()) : 0));
            const bool kept = outcome_.written.size() <= kept_bytes_;
            if (outcome_.written.size() == refused_byte_ || (kept && !wire_.write(outcome_.written.back()))) {
                return EIO;
            }
            if (clock_is_held()) {
                return ETIMEDOUT;
            }
        }
        if (request_.kind == operation::write && write_length_ != 0) {
            wire_.make_busy();
        }
        return 0;
    }

    int read_all() {
        while (outcome_.read.size() < read_length_) {
            const auto disturbance = noise(outcome_.read.size());
            outcome_.read.push_back(wire_.read() ^ disturbance);
            if (clock_is_held()) {
                return ETIMEDOUT;
            }
            if (request_.counted && outcome_.read.size() == 1 && !add_counted()) {
                return EPROTO;
            }
        }
        return 0;
    }

    /// What was read first takes the place of what was read now.
    void freeze() {
        board_chip *const part = outcome_.read.empty() ? nullptr : wire_.find(fault_kind::frozen);
        if (part == nullptr) {
            return;
        }
        const auto [first, unread] = part->traces.frozen.try_emplace(outcome_.written, outcome_.read);
        if (!unread && first->second.size() == outcome_.read.size() &&
            wire_.strike(fault_kind::frozen) != nullptr) {
            outcome_.read = first->second;
        }
    }

    /// A transfer has a packet error code when its last byte is the right one.
    void spoil_pec() {
        if (outcome_.read.size() < 2 || wire_.find(fault_kind::pec) == nullptr || check_of_all_bytes() != 0) {
            return;
        }
        if (fault *const pec = wire_.strike(fault_kind::pec)) {
            outcome_.read.back() ^= static_cast<uint8_t>(1U << pec->choose(8));
        }
    }

    /// 0 when the last byte is the packet error code of the others.
    [[nodiscard]] uint8_t check_of_all_bytes() const {
        const auto address = static_cast<uint8_t>(request_.address << 1);
        uint8_t crc = 0;
        if (request_.kind != operation::read) {
            crc = crc8(crc, address);
            for (const uint8_t byte : outcome_.written) {
                crc = crc8(crc, byte);
            }
        }
        crc = crc8(crc, address | 1);
        for (const uint8_t byte : outcome_.read) {
            crc = crc8(crc, byte);
        }
        return crc;
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
    std::size_t refused_byte_ = 0; ///< from 1; 0 for none
    std::size_t kept_bytes_ = SIZE_MAX;
    std::size_t last_byte_ = 0; ///< after which the clock is held; likewise
    transfer_outcome outcome_{-1, 0};
};

} // namespace

std::size_t wire_bits(const transfer_request &request, const transfer_outcome &outcome) {
    constexpr std::size_t in_byte = 9; // with its acknowledgement
    if (outcome.error == ENODEV || outcome.error == ETIMEDOUT) {
        return 0;
    }
    const bool turned = request.kind == operation::write_read && !outcome.read.empty();
    const std::size_t starts = turned ? 2 : 1;
    return starts * (1 + in_byte) + (outcome.written.size() + outcome.read.size()) * in_byte + 1;
}

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
        wire.count_transfer();
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
