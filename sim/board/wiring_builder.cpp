// SPDX-License-Identifier: Apache-2.0
#include "sim/board/wiring_builder.h"

#include <algorithm>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include "host/numbers.h"

namespace varnel::sim {

namespace {

/// Whether this names an adapter or a channel; each has one name, so leading zeros do not count as numbers.
bool is_number(std::string_view text) {
    return !text.empty() && (text == "0" || text.front() != '0') &&
           std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// The number, or one larger than that of any adapter or channel.
std::size_t number(std::string_view digits) {
    return host::whole_number<std::size_t>(digits).value_or(SIZE_MAX);
}

class wiring_builder {
  public:
    wiring_builder(const board_description &description,
                   const std::vector<std::unique_ptr<board_chip>> &chips)
        : description_(description), chips_(chips) {}

    wiring build() {
        for (const auto &chip : chips_) {
            add_downstream_segments(*chip);
        }
        for (std::size_t i = 0; i < chips_.size(); ++i) {
            place(description_.chips[i], *chips_[i]);
        }
        for (std::size_t i = 0; i < chips_.size(); ++i) {
            refuse_loop(description_.chips[i], *chips_[i]);
        }
        return std::move(wires_);
    }

  private:
    [[noreturn]] void fail(int line, const std::string &message) const {
        throw host::bad_line(description_.file, line, message);
    }

    void add_downstream_segments(board_chip &chip) {
        const std::size_t count = chip.model->segments();
        for (std::size_t channel = 0; channel < count; ++channel) {
            chip.downstream.push_back(wires_.segments.size());
            wires_.segments.push_back({count == 1 ? chip.name : fmt::format("{}.{}", chip.name, channel)});
        }
    }

    void place(const chip_description &chip, board_chip &part) {
        connect(chip.place, part, 0);
        if (!chip.other_place) {
            return;
        }
        if (part.model->ports() < 2) {
            fail(chip.other_place->line, fmt::format("a {} has one bus, not two", chip.type));
        }
        connect(*chip.other_place, part, 1);
    }

    void connect(const placement &where, board_chip &part, std::size_t port) {
        segment &bus = wires_.segments[resolve(where)];
        for (const connection &other : bus.connections) {
            if (other.address == where.address) {
                fail(where.line, fmt::format("'{}' has address 0x{:02x} on bus {}, and so has '{}'",
                                             part.name, where.address, bus.name, other.part->name));
            }
        }
        bus.connections.push_back({&part, port, where.address});
        bus.connections.back().wire().set_address(where.address);
    }

    std::size_t resolve(const placement &where) {
        if (is_number(where.bus)) {
            return adapter_segment(where);
        }
        const std::size_t dot = where.bus.find('.');
        const std::string name = where.bus.substr(0, dot);
        const auto mux = std::ranges::find(chips_, name, [](const auto &chip) { return chip->name; });
        if (mux == chips_.end()) {
            fail(where.line, fmt::format("bus '{}': there is no chip '{}'", where.bus, name));
        }
        return channel_segment(where, **mux, dot);
    }

    std::size_t adapter_segment(const placement &where) {
        const std::size_t adapter = number(where.bus);
        if (adapter > UINT8_MAX) {
            fail(where.line, fmt::format("bus {} is outside 0 to {}", where.bus, UINT8_MAX));
        }
        const auto [found, added] =
            wires_.adapters.try_emplace(static_cast<uint8_t>(adapter), wires_.segments.size());
        if (added) {
            wires_.segments.push_back({fmt::to_string(adapter)});
        }
        return found->second;
    }

    std::size_t channel_segment(const placement &where, const board_chip &mux, std::size_t dot) const {
        const std::size_t count = mux.downstream.size();
        if (count == 0) {
            fail(where.line,
                 fmt::format("bus '{}': nothing is behind a {}", where.bus, std::string(mux.model->type())));
        }
        if (dot == std::string::npos && count > 1) {
            fail(where.line, fmt::format("bus '{0}': which channel? {0}.0 to {0}.{1}", where.bus, count - 1));
        }
        if (dot != std::string::npos && count == 1) {
            fail(where.line, fmt::format("bus '{}': a {} has no channels; the bus behind it is '{}'",
                                         where.bus, mux.model->type(), mux.name));
        }
        return mux.downstream[count == 1 ? 0 : channel_number(where, mux, where.bus.substr(dot + 1))];
    }

    [[nodiscard]] std::size_t channel_number(const placement &where, const board_chip &mux,
                                             const std::string &channel) const {
        const std::size_t count = mux.downstream.size();
        if (!is_number(channel) || number(channel) >= count) {
            fail(where.line,
                 fmt::format("bus '{}': the channels of '{}' are 0 to {}", where.bus, mux.name, count - 1));
        }
        return number(channel);
    }

    void refuse_loop(const chip_description &chip, const board_chip &part) const {
        std::set<std::size_t> seen;
        std::vector<std::size_t> behind(part.downstream);
        while (!behind.empty()) {
            const std::size_t index = behind.back();
            behind.pop_back();
            if (!seen.insert(index).second) {
                continue;
            }
            for (const connection &at : wires_.segments[index].connections) {
                if (at.part == &part) {
                    const placement &place = at.port == 0 ? chip.place : *chip.other_place;
                    fail(place.line,
                         fmt::format("bus '{}': '{}' would be behind itself", place.bus, chip.name));
                }
                behind.insert(behind.end(), at.part->downstream.begin(), at.part->downstream.end());
            }
        }
    }

    const board_description &description_;
    const std::vector<std::unique_ptr<board_chip>> &chips_;
    wiring wires_ = {};
};

} // namespace

wiring wire_up(const board_description &description, const std::vector<std::unique_ptr<board_chip>> &chips) {
    return wiring_builder(description, chips).build();
}

} // namespace varnel::sim
