// SPDX-License-Identifier: Apache-2.0
#include "sim/board/bus.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace varnel::sim {

fault *board_chip::striking(fault_kind kind, const board_moment &now) {
    const auto found = faults.find(kind);
    return found != faults.end() && found->second.strikes(now) ? &found->second : nullptr;
}

const fault *board_chip::waiting(fault_kind kind, const board_moment &now) const {
    const auto found = faults.find(kind);
    return found != faults.end() && !found->second.spent(now) ? &found->second : nullptr;
}

std::vector<reached_segment> wiring::reach(std::size_t from) const {
    std::vector<reached_segment> reached{{from, segments[from].name}};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        const reached_segment here = reached[i];
        for (const connection &at : segments[here.index].connections) {
            for (std::size_t channel = 0; channel < at.part->downstream.size(); ++channel) {
                const std::size_t behind = at.part->downstream[channel];
                if (at.part->plugged && at.wire().connects(channel) &&
                    std::ranges::find(reached, behind, &reached_segment::index) == reached.end()) {
                    reached.push_back({behind, here.path + "/" + segments[behind].name});
                }
            }
        }
    }
    return reached;
}

transaction::transaction(const wiring &wires, std::size_t adapter_segment)
    : wires_(wires), from_(adapter_segment), reached_(wires.reach(adapter_segment)) {
    hold_lines(fault_kind::stuck);
    hold_lines(fault_kind::clock_held);
}

/// A chip anywhere on the wires that the adapter reaches.
void transaction::hold_lines(fault_kind kind) {
    bool held = false;
    for (const reached_segment &here : reached_) {
        for (const connection &at : wires_.segments[here.index].connections) {
            held = (at.part->plugged && at.part->striking(kind, now()) != nullptr) || held;
        }
    }
    if (held) {
        failure_ = ETIMEDOUT;
        struck_.push_back(kind);
    }
}

bool transaction::start(uint8_t address, direction way) {
    listening_.clear();
    address_ = address;
    find_addressed(address);
    if (!std::exchange(begun_, true) && failure_ == 0) {
        begin(address);
    }
    if (failure_ != 0) {
        return false;
    }
    for (const addressed_chip &chip : addressed_) {
        if (acknowledges(chip.at, way)) {
            listening_.push_back(chip.at);
        }
    }
    return !listening_.empty();
}

/// What happens just before the first START.
void transaction::begin(uint8_t address) {
    const bool lost = lose_selectors();
    if (brown_out() || lost) {
        reached_ = wires_.reach(from_);
        find_addressed(address);
    }
    if (strike(fault_kind::arbitration) != nullptr) {
        failure_ = EAGAIN;
    }
}

/// Whether the transfer is for a selector, or for a chip behind it.
bool transaction::concerns(const connection &selector) const {
    const std::string behind = "/" + wires_.segments[selector.part->downstream.front()].name;
    return std::ranges::any_of(addressed_, [&](const addressed_chip &chip) {
        return chip.at.part == selector.part || chip.path.find(behind) != std::string::npos;
    });
}

namespace {

/// What the master at a port of a PCA9541 does to get the bus: it reads its control register, and writes there what
/// connects it (datasheet, bus control sequence).
void take_bus(bus_port &port) {
    constexpr uint8_t control_register = 1;
    constexpr unsigned int mybus = 0x01;
    constexpr unsigned int nmybus = 0x02;
    constexpr unsigned int buson = 0x04;
    constexpr unsigned int nbuson = 0x08;
    (void)port.start(direction::write);
    (void)port.write(control_register);
    (void)port.start(direction::read);
    const unsigned int control = port.read();
    port.stop();
    const unsigned int wanted = ((control & nmybus) != 0 ? mybus : 0) | ((control & nbuson) != 0 ? 0 : buson);
    (void)port.start(direction::write);
    (void)port.write(control_register);
    (void)port.write(static_cast<uint8_t>((control & ~(mybus | nmybus | buson | nbuson)) | wanted));
    port.stop();
}

} // namespace

bool transaction::lose_selectors() {
    bool lost = false;
    for (const reached_segment &here : reached_) {
        for (const connection &at : wires_.segments[here.index].connections) {
            if (at.part->plugged && at.part->waiting(fault_kind::taken, now()) != nullptr && concerns(at) &&
                at.part->striking(fault_kind::taken, now()) != nullptr) {
                take_bus(at.part->model->port(1 - at.port));
                struck_.push_back(fault_kind::taken);
                lost = true;
            }
        }
    }
    return lost;
}

/// Returns whether a chip has lost its power: a multiplexer is off then.
bool transaction::brown_out() {
    bool lost = false;
    for (const addressed_chip &chip : addressed_) {
        if (chip.at.part->striking(fault_kind::brownout, now()) != nullptr) {
            chip.at.part->model->power_on();
            struck_.push_back(fault_kind::brownout);
            lost = true;
        }
    }
    return lost;
}

/// Of chips that answer with their addresses, the lowest wins the arbitration.
void transaction::find_addressed(uint8_t address) {
    addressed_.clear();
    for (const reached_segment &here : reached_) {
        for (const connection &at : wires_.segments[here.index].connections) {
            if (answers_to(at, address)) {
                addressed_.push_back({at, here.path});
            }
        }
    }
    if (address == alert_response_address && addressed_.size() > 1) {
        const auto winner = std::ranges::min_element(
            addressed_, {}, [](const addressed_chip &chip) { return chip.at.address; });
        addressed_ = {addressed_chip(*winner)};
    }
}

bool transaction::answers_to(const connection &at, uint8_t address) {
    if (!at.part->plugged) {
        return false;
    }
    if (address == alert_response_address && at.wire().alerts()) {
        return true;
    }
    const auto decided = moved_.find(at.part);
    if (decided != moved_.end()) {
        return address == decided->second.value_or(at.address);
    }
    const fault *const strap = at.part->waiting(fault_kind::address, now());
    if (strap == nullptr || failure_ != 0) {
        return address == at.address;
    }
    const auto other = static_cast<uint8_t>(strap->parameter());
    if (address != at.address && address != other) {
        return false;
    }
    const bool moves = at.part->striking(fault_kind::address, now()) != nullptr;
    moved_[at.part] = moves ? std::optional(other) : std::nullopt;
    if (moves) {
        struck_.push_back(fault_kind::address);
    }
    return address == moved_[at.part].value_or(at.address);
}

bool transaction::acknowledges(const connection &at, direction way) {
    if (refuses(*at.part)) {
        return false;
    }
    remember(at);
    if (address_ != alert_response_address || !at.wire().alerts()) {
        return at.wire().start(way);
    }
    if (way == direction::read) {
        at.wire().start_alert_response();
    }
    return way == direction::read;
}

bool transaction::refuses(board_chip &part) {
    const auto [decision, undecided] = refusals_.try_emplace(&part, false);
    if (!undecided) {
        return decision->second;
    }
    if (now().time < part.traces.busy_until) {
        decision->second = true;
        struck_.push_back(fault_kind::busy);
    } else if (part.striking(fault_kind::nack, now()) != nullptr) {
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
    for (const auto &[part, time] : busy_) {
        part->traces.busy_until = now().time + time;
    }
    for (board_chip *const part : std::exchange(powerless_, {})) {
        part->model->power_on();
    }
    busy_.clear();
    took_part_.clear();
    listening_.clear();
}

fault *transaction::strike(fault_kind kind) {
    for (const addressed_chip &chip : addressed_) {
        if (fault *const striking = chip.at.part->striking(kind, now())) {
            struck_.push_back(kind);
            return striking;
        }
    }
    return nullptr;
}

board_chip *transaction::find(fault_kind kind) const {
    for (const addressed_chip &chip : addressed_) {
        if (chip.at.part->waiting(kind, now()) != nullptr) {
            return chip.at.part;
        }
    }
    return nullptr;
}

void transaction::make_busy() {
    for (const addressed_chip &chip : addressed_) {
        if (const fault *const striking = chip.at.part->striking(fault_kind::busy, now())) {
            busy_[chip.at.part] = std::chrono::milliseconds(striking->parameter());
            struck_.push_back(fault_kind::busy);
        }
    }
}

} // namespace varnel::sim
