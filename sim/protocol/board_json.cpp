// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/board_json.h"

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "sim/protocol/fault_json.h"

namespace varnel::sim {

using json = nlohmann::ordered_json;

namespace {

constexpr double microseconds_per_second = 1e6;
/// No errno of Linux is larger.
constexpr int last_error = 4095;

operation operation_named(const std::string &name) {
    for (const operation kind : {operation::write, operation::read, operation::write_read}) {
        if (name == name_of(kind)) {
            return kind;
        }
    }
    throw std::runtime_error("unknown operation " + name);
}

int error_named(const std::string &name) {
    for (int error = 1; error <= last_error; ++error) {
        const char *const known = strerrorname_np(error);
        if (known != nullptr && name == known) {
            return error;
        }
    }
    throw std::runtime_error("unknown error " + name);
}

fault_kind kind_named(const std::string &name) {
    const auto kind = fault_kind_named(name);
    if (!kind) {
        throw std::runtime_error("unknown fault " + name);
    }
    return *kind;
}

std::optional<traced_register> selected_in(const json &record) {
    if (record.at("register").is_null()) {
        return std::nullopt;
    }
    const json &name = record.at("register_name");
    return traced_register{record.at("register"), name.is_null() ? "" : name.get<std::string>()};
}

} // namespace

void to_json(json &record, const transfer_record &from) {
    record = {
        {"time_seconds", static_cast<double>(from.time.count()) / microseconds_per_second},
        {"process", from.process},
        {"pid", from.pid},
        {"bus", from.bus},
        {"path", json::array()},
        {"chips", json::array()},
        {"address", from.address},
        {"operation", name_of(from.kind)},
        {"register", from.selected ? json(from.selected->code) : json()},
        {"register_name", from.selected && !from.selected->name.empty() ? json(from.selected->name) : json()},
        {"written", from.written.bytes},
        {"written_length", from.written.length},
        {"read", from.read.bytes},
        {"read_length", from.read.length},
        {"result", from.result},
        {"error", from.error != 0 ? json(strerrorname_np(from.error)) : json()},
        {"error_text", from.error != 0 ? json(strerrordesc_np(from.error)) : json()},
        {"faults", json::array()},
        {"stop", from.stop}};
    for (const traced_chip &chip : from.chips) {
        record["path"].push_back(chip.path);
        record["chips"].push_back(chip.name);
    }
    for (const fault_kind kind : from.faults) {
        record["faults"].push_back(name_of(kind));
    }
}

void from_json(const json &record, transfer_record &to) {
    const double seconds = record.at("time_seconds");
    to.time = std::chrono::microseconds(std::llround(seconds * microseconds_per_second));
    record.at("process").get_to(to.process);
    record.at("pid").get_to(to.pid);
    record.at("bus").get_to(to.bus);
    record.at("address").get_to(to.address);
    to.kind = operation_named(record.at("operation"));
    to.selected = selected_in(record);
    to.written = {record.at("written"), record.at("written_length")};
    to.read = {record.at("read"), record.at("read_length")};
    record.at("result").get_to(to.result);
    const json &error = record.at("error");
    to.error = error.is_null() ? 0 : error_named(error);
    record.at("stop").get_to(to.stop);
    for (std::size_t i = 0; i < record.at("chips").size(); ++i) {
        to.chips.push_back({record.at("chips").at(i), record.at("path").at(i)});
    }
    for (const json &kind : record.at("faults")) {
        to.faults.push_back(kind_named(kind));
    }
}

namespace {

unit unit_named(const std::string &name) {
    for (const unit each :
         {unit::volts, unit::amperes, unit::watts, unit::celsius, unit::rpm, unit::percent}) {
        if (name == name_of(each)) {
            return each;
        }
    }
    throw std::runtime_error("unknown unit " + name);
}

json fields_of(const std::string &text) { return {{"text", text}}; }

json fields_of(const measurement &measured) {
    return {{"number", measured.number}, {"unit", name_of(measured.of)}, {"decimals", measured.decimals}};
}

json fields_of(const register_value &held) { return {{"bits", held.bits}, {"digits", held.digits}}; }

reading_value value_in(const json &fields) {
    if (fields.contains("number")) {
        return measurement{fields.at("number"), unit_named(fields.at("unit")), fields.at("decimals")};
    }
    if (fields.contains("bits")) {
        return register_value{fields.at("bits"), fields.at("digits")};
    }
    return fields.at("text").get<std::string>();
}

json json_of(const reading &from) {
    json to = {{"name", from.name}, {"settable", from.settable}};
    to.update(std::visit([](const auto &value) { return fields_of(value); }, from.value));
    return to;
}

json json_of(const chip_status &from) {
    json to = {{"type", from.type},         {"plugged", from.plugged},   {"connections", json::array()},
               {"channels", json::array()}, {"readings", json::array()}, {"faults", json::array()}};
    for (const chip_connection &at : from.connections) {
        to["connections"].push_back({{"bus", at.bus}, {"address", at.address}});
    }
    for (const chip_channel &channel : from.channels) {
        to["channels"].push_back({{"name", channel.name}, {"on", channel.on}});
    }
    for (const reading &each : from.readings) {
        to["readings"].push_back(json_of(each));
    }
    for (const waiting_fault &fault : from.faults) {
        to["faults"].push_back(json_of(fault));
    }
    return to;
}

chip_status chip_in(const std::string &name, const json &from) {
    chip_status chip{name, from.at("type"), from.at("plugged"), {}, {}, {}, {}};
    for (const json &at : from.at("connections")) {
        chip.connections.push_back({at.at("bus"), at.at("address")});
    }
    for (const json &channel : from.at("channels")) {
        chip.channels.push_back({channel.at("name"), channel.at("on")});
    }
    for (const json &each : from.at("readings")) {
        chip.readings.push_back({each.at("name"), value_in(each), each.at("settable")});
    }
    for (const json &fault : from.at("faults")) {
        chip.faults.push_back(fault_in(fault));
    }
    return chip;
}

} // namespace

void to_json(json &to, const server_status &from) {
    to = {{"board", from.board.name}, {"chips", json::object()},
          {"file", from.file},        {"uptime_seconds", from.uptime.count()},
          {"server", from.server},    {"programs", json::array()}};
    for (const chip_status &chip : from.board.chips) {
        to["chips"][chip.name] = json_of(chip);
    }
    for (const program_status &program : from.programs) {
        to["programs"].push_back({{"process", program.process}, {"pid", program.pid}});
    }
}

void from_json(const json &from, server_status &to) {
    from.at("board").get_to(to.board.name);
    from.at("file").get_to(to.file);
    to.uptime = std::chrono::duration<double>(from.at("uptime_seconds").get<double>());
    from.at("server").get_to(to.server);
    for (const auto &[name, chip] : from.at("chips").items()) {
        to.board.chips.push_back(chip_in(name, chip));
    }
    for (const json &program : from.at("programs")) {
        to.programs.push_back({program.at("process"), program.at("pid")});
    }
}

} // namespace varnel::sim
