// SPDX-License-Identifier: Apache-2.0
#include "controller_ini.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <optional>

#include <arpa/inet.h>
#include <fmt/format.h>

#include "host/duration.h"
#include "host/ini_file.h"
#include "host/numbers.h"

namespace varnel::tools {

namespace {

using platform::controller_record;

constexpr std::array cipher_suites{1, 2, 3, 6, 7, 8, 11, 12, 15, 16, 17}; // those with a key exchange
constexpr std::chrono::milliseconds longest_time_out = std::chrono::minutes(10);

/// A complaint without its place.
class bad_value : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::optional<unsigned int> controller_number(std::string_view section) {
    if (section == "smc") {
        return 0;
    }
    const auto slot =
        host::whole_number<unsigned int>(section.substr(std::min<std::size_t>(3, section.size())));
    const bool named =
        slot && *slot + 1 < platform::controller_count && controller_name(*slot + 1) == section;
    return named ? std::optional(*slot + 1) : std::nullopt;
}

void set_address(controller_record &record, const std::string &value) {
    in_addr address{};
    if (inet_pton(AF_INET, value.c_str(), &address) != 1 || address.s_addr == INADDR_ANY) {
        throw bad_value(fmt::format("'{}' is not an IPv4 address", value));
    }
    inet_ntop(AF_INET, &address, record.address.data(), INET_ADDRSTRLEN);
}

void set_login_text(controller_record &record, std::string_view value, std::size_t offset, std::size_t size) {
    if (value.size() > size) {
        // The value may be a password: its length is enough to find it.
        throw bad_value(fmt::format("{} characters are more than {}", value.size(), size));
    }
    std::ranges::copy(value, record.login.begin() + static_cast<std::ptrdiff_t>(offset));
}

uint8_t cipher_suite(const std::string &value) {
    const auto suite = host::whole_number<int>(value);
    if (!suite || std::ranges::find(cipher_suites, *suite) == cipher_suites.end()) {
        throw bad_value(fmt::format("'{}' is not a cipher suite with authentication", value));
    }
    return static_cast<uint8_t>(*suite);
}

uint32_t milliseconds(const std::string &value) {
    const auto time = host::duration(value);
    if (!time || *time > longest_time_out) {
        throw bad_value(fmt::format("'{}' is not a time from 1ms to 600s", value));
    }
    return static_cast<uint32_t>(time->count());
}

void set_key(controller_record &record, const std::string &key, const std::string &value) {
    using namespace platform;
    if (key == "address") {
        set_address(record, value);
    } else if (key == "user") {
        set_login_text(record, value, LOGIN_USER_NAME_OFFSET, LOGIN_USER_NAME_SIZE);
    } else if (key == "password") {
        set_login_text(record, value, LOGIN_PASSWORD_OFFSET, LOGIN_PASSWORD_SIZE);
    } else if (key == "cipher-suite") {
        record.cipher_suite = cipher_suite(value);
    } else if (key == "give-up-after") {
        record.give_up_after_ms = milliseconds(value);
    } else if (key == "retransmit-after") {
        record.retransmit_after_ms = milliseconds(value);
    } else {
        throw bad_value("there is no such key");
    }
}

/// What is wrong with a section as a whole; empty when nothing is.
std::string fault_of(const controller_record &record) {
    if (record.address[0] == '\0') {
        return "no address";
    }
    if ((record.give_up_after_ms == 0) != (record.retransmit_after_ms == 0)) {
        return "give-up-after and retransmit-after go together";
    }
    return record.retransmit_after_ms > record.give_up_after_ms
               ? "retransmit-after is longer than give-up-after"
               : "";
}

controller_record read_section(const host::ini_section &section, const std::string &file) {
    controller_record record{};
    record.present = 1;
    for (const auto &[key, value, line] : section.entries) {
        try {
            set_key(record, key, value);
        } catch (const bad_value &fault) {
            throw host::bad_line(file, line, fmt::format("{}: {}", key, fault.what()));
        }
    }
    if (const std::string fault = fault_of(record); !fault.empty()) {
        throw host::bad_line(file, section.line, fmt::format("[{}]: {}", section.name, fault));
    }
    return record;
}

} // namespace

controller_records read_controller_ini(std::istream &input, const std::string &file) {
    controller_records records{};
    for (const host::ini_section &section : host::read_ini(input, file)) {
        const auto number = controller_number(section.name);
        if (!number) {
            throw host::bad_line(
                file, section.line,
                fmt::format("[{}] is not a controller: smc, or bmc0 to bmc255", section.name));
        }
        records.at(*number) = read_section(section, file);
    }
    return records;
}

std::string controller_name(unsigned int number) {
    return number == 0 ? "smc" : "bmc" + std::to_string(number - 1);
}

std::string_view login_text(const controller_record &record, std::size_t offset, std::size_t size) {
    const auto *const field = reinterpret_cast<const char *>(record.login.data()) + offset;
    return {field, strnlen(field, size)};
}

} // namespace varnel::tools
