// SPDX-License-Identifier: Apache-2.0
#include "sim/board/board.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "host/numbers.h"
#include "host/suggestion.h"
#include "sim/board/wiring_builder.h"

namespace varnel::sim {

board::board(board_description description, const board_clock &clock, chip_factory factory)
    : description_(std::move(description)), clock_(clock), factory_(std::move(factory)) {
    for (const chip_description &chip : description_.chips) {
        try {
            chips_.push_back(
                std::make_unique<board_chip>(board_chip{chip.name, factory_(chip.type, clock_), {}}));
        } catch (const bad_setting &refusal) {
            throw host::bad_line(description_.file, chip.type_line, refusal.what());
        }
    }
    wiring_ = wire_up(description_, chips_);
    wiring_.clock = &clock_;
    set_clocks();
    std::vector<board_chip *> parts;
    for (std::size_t i = 0; i < chips_.size(); ++i) {
        apply_settings(*chips_[i]->model, description_.chips[i]);
        check_gpiochip(description_.chips[i], *chips_[i]->model);
        chips_[i]->plugged = description_.chips[i].plugged;
        parts.push_back(chips_[i].get());
    }
    pin_wires_ = pin_wires(description_, chips_);
    power_on(parts);
}

/// One for all comes first, whatever the order in the file.
void board::set_clocks() {
    for (const bus_clock &clock : description_.clocks) {
        for (const auto &[adapter, segment] : wiring_.adapters) {
            if (!clock.adapter) {
                kilohertz_.try_emplace(adapter, clock.kilohertz);
            }
        }
    }
    for (const bus_clock &clock : description_.clocks) {
        if (clock.adapter && !wiring_.adapters.contains(*clock.adapter)) {
            throw host::bad_line(description_.file, clock.line,
                                 fmt::format("clock.{0}: there is no bus {0}", *clock.adapter));
        }
        if (clock.adapter) {
            kilohertz_[*clock.adapter] = clock.kilohertz;
        }
    }
}

std::chrono::nanoseconds board::duration(const transfer_request &request,
                                         const transfer_outcome &outcome) const {
    const auto found = kilohertz_.find(request.adapter);
    if (found == kilohertz_.end()) {
        return {};
    }
    const std::chrono::duration<double, std::milli> time(static_cast<double>(wire_bits(request, outcome)) /
                                                         found->second);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time);
}

/// Levels that wires carry from the start are no changes.
void board::power_on(const std::vector<board_chip *> &parts) {
    settle();
    for (board_chip *const part : parts) {
        part->model->power_on();
    }
    settle();
}

void board::apply_settings(chip &model, const chip_description &description) const {
    for (const host::ini_entry &setting : description.settings) {
        try {
            if (!pin_wires::is_wire(model, setting)) {
                model.set(setting.key, setting.value);
            }
        } catch (const bad_setting &refusal) {
            throw host::bad_line(description_.file, setting.line,
                                 fmt::format("{}: {}", description.name, refusal.what()));
        }
    }
}

namespace {

/// The adapter that a chip is soldered to; nothing when it is on a bus behind another chip.
std::optional<uint8_t> adapter_of(const chip_description &chip) {
    return host::whole_number<uint8_t>(chip.place.bus);
}

} // namespace

void board::check_gpiochip(const chip_description &description, const chip &model) const {
    if (!description.gpiochip_line) {
        return;
    }
    const auto fail = [&](const std::string &message) {
        throw host::bad_line(description_.file, *description.gpiochip_line, message);
    };
    if (model.pins() == nullptr) {
        fail(fmt::format("a {} cannot be a gpiochip", description.type));
    }
    if (!adapter_of(description)) {
        fail(fmt::format("'{}' is on bus '{}', and a gpiochip has to be on an adapter", description.name,
                         description.place.bus));
    }
}

std::vector<gpiochip_place> board::gpiochips() const {
    std::vector<gpiochip_place> all;
    for (std::size_t i = 0; i < chips_.size(); ++i) {
        const chip_description &chip = description_.chips[i];
        if (chip.gpiochip_line) {
            all.push_back({*adapter_of(chip), chip.place.address, chips_[i].get()});
        }
    }
    std::ranges::stable_sort(all, {}, &gpiochip_place::bus);
    return all;
}

board_chip &board::find(std::string_view chip) {
    const auto found = std::ranges::find(chips_, chip, [](const auto &part) { return part->name; });
    if (found == chips_.end()) {
        throw bad_request(
            fmt::format("there is no chip '{}' on board '{}'{}", chip, name(),
                        host::did_you_mean(chip, chips_, [](const auto &part) { return part->name; })));
    }
    return **found;
}

namespace {

void change(chip &model, const assignment &change) {
    try {
        model.set(change.name, change.value);
    } catch (const bad_setting &refusal) {
        throw bad_request(fmt::format("{}: {}", change.chip, refusal.what()));
    }
}

/// A newer value of the same name takes the place of an older one.
void remember(std::vector<assignment> &changes, const assignment &latest) {
    std::erase_if(changes, [&latest](const assignment &old) { return old.name == latest.name; });
    changes.push_back(latest);
}

} // namespace

std::vector<uint8_t> board::buses() const {
    std::vector<uint8_t> numbers;
    for (const auto &[number, segment] : wiring_.adapters) {
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<transfer_outcome> board::transfer(std::span<const transfer_request> requests) {
    settle();
    auto outcomes = perform(wiring_, requests);
    settle();
    return outcomes;
}

std::unique_ptr<transaction> board::begin(uint8_t adapter) {
    settle();
    const auto found = wiring_.adapters.find(adapter);
    return found == wiring_.adapters.end() ? nullptr : std::make_unique<transaction>(wiring_, found->second);
}

void board::plug(const std::vector<std::string> &chips, bool plugged) {
    std::vector<board_chip *> changed;
    for (const std::string &chip : chips) {
        std::ranges::copy_if(pin_wires_.module_of(find(chip)), std::back_inserter(changed),
                             [plugged](const board_chip *part) { return part->plugged != plugged; });
    }
    for (board_chip *const part : changed) {
        part->plugged = plugged;
        part->traces = {};
        part->faults.erase(fault_kind::stuck); // without power it lets go of the lines
        part->faults.erase(fault_kind::clock_held);
    }
    power_on(plugged ? changed : std::vector<board_chip *>{});
}

void board::refuse_if_wired(const assignment &change) {
    if (const auto source = pin_wires_.source_of(find(change.chip), change.name)) {
        throw bad_request(fmt::format("{}: {} is wired to {}", change.chip, change.name, *source));
    }
}

void board::set(const std::vector<assignment> &assignments) {
    std::set<const board_chip *> parts;
    for (const assignment &each : assignments) {
        refuse_if_wired(each);
        parts.insert(&find(each.chip));
    }
    for (const board_chip *part : parts) {
        try_out(*part, assignments);
    }
    for (const assignment &each : assignments) {
        board_chip &part = find(each.chip);
        change(*part.model, each);
        remember(part.changes, each);
    }
    settle();
}

/// Chips check a setting and take it in one step; so one that is not on the board tries it first.
void board::try_out(const board_chip &part, const std::vector<assignment> &assignments) const {
    const auto &description = *std::ranges::find(description_.chips, part.name, &chip_description::name);
    const auto model = factory_(description.type, clock_);
    apply_settings(*model, description);
    model->power_on();
    for (const assignment &old : part.changes) {
        try {
            model->set(old.name, old.value); // it may have given a pin the name that is used now
        } catch (const bad_setting &) {
            continue; // for example of a pin that has another name by now
        }
    }
    for (const assignment &each : assignments) {
        if (each.chip == part.name) {
            change(*model, each);
        }
    }
}

namespace {

/// Clocks that a master sends to free SDA (UM10204 3.1.16), as adapters do when a transfer has failed.
constexpr uint64_t clocks_of_recovery = 9;

/// The terms with what is usual for the kind in place of what they do not say.
fault_terms complete(fault_kind kind, fault_terms terms) {
    const fault_facts &facts = facts_of(kind);
    const parameter_facts *const parameter = facts_of(facts.parameter);
    if (!terms.parameter) {
        terms.parameter = facts.usual_parameter;
    }
    if (facts.needs_parameter && !terms.parameter) {
        throw bad_request(fmt::format("the fault {} needs {}", facts.name, parameter->option));
    }
    if (terms.parameter &&
        (parameter == nullptr || *terms.parameter < parameter->least || *terms.parameter > parameter->most)) {
        throw bad_request(
            fmt::format("the fault {} cannot have a parameter of {}", facts.name, *terms.parameter));
    }
    if (kind == fault_kind::stuck && terms.parameter) {
        terms.count = (*terms.parameter + clocks_of_recovery - 1) / clocks_of_recovery;
    }
    return terms;
}

} // namespace

void board::inject(std::string_view chip, fault_kind kind, const fault &fault) {
    board_chip &part = find(chip);
    if (kind == fault_kind::taken && (part.model->ports() != 2 || part.downstream.empty())) {
        throw bad_request(fmt::format("{}: a {} has no other master", chip, part.model->type()));
    }
    part.faults.insert_or_assign(kind, sim::fault(complete(kind, fault.terms())));
    part.traces = {};
}

void board::clear_faults(std::string_view chip) {
    board_chip &part = find(chip);
    part.faults.clear();
    part.traces = {};
}

namespace {

std::vector<chip_connection> connections_of(const board_chip &part, const wiring &wires) {
    std::map<std::size_t, chip_connection> by_port;
    for (const segment &bus : wires.segments) {
        for (const connection &at : bus.connections) {
            if (at.part == &part) {
                by_port[at.port] = {bus.name, at.address};
            }
        }
    }
    std::vector<chip_connection> connections;
    connections.reserve(by_port.size());
    for (auto &[port, connection] : by_port) {
        connections.push_back(std::move(connection));
    }
    return connections;
}

std::vector<chip_channel> channels_of(const board_chip &part, const wiring &wires, std::size_t connections) {
    std::vector<chip_channel> channels;
    for (std::size_t channel = 0; channel < part.downstream.size(); ++channel) {
        std::vector<bool> on;
        for (std::size_t port = 0; port < connections; ++port) {
            on.push_back(part.plugged && part.model->port(port).connects(channel));
        }
        channels.push_back({wires.segments[part.downstream[channel]].name, std::move(on)});
    }
    return channels;
}

std::vector<waiting_fault> faults_of(const board_chip &part, const board_moment &now) {
    std::vector<waiting_fault> faults;
    for (const auto &[kind, fault] : part.faults) {
        if (!fault.spent(now)) {
            faults.push_back({kind, fault.terms()});
        }
    }
    return faults;
}

/// A chip that is not there has surroundings, but nothing else.
std::vector<reading> readings_of(const board_chip &part) {
    std::vector<reading> readings = part.model->readings();
    if (!part.plugged) {
        std::erase_if(readings, [](const reading &each) { return !each.settable; });
    }
    return readings;
}

chip_status status_of(const board_chip &part, const wiring &wires) {
    auto connections = connections_of(part, wires);
    auto channels = channels_of(part, wires, connections.size());
    return {part.name,
            std::string(part.model->type()),
            part.plugged,
            std::move(connections),
            std::move(channels),
            readings_of(part),
            faults_of(part, wires.now())};
}

} // namespace

board_status board::status() const {
    board_status status{name(), {}};
    for (const auto &part : chips_) {
        status.chips.push_back(status_of(*part, wiring_));
    }
    return status;
}

} // namespace varnel::sim
