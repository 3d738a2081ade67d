// SPDX-License-Identifier: Apache-2.0
#include "controller_ini.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <iterator>
#include <optional>
#include <set>

#include <arpa/inet.h>
#include <ini.h>

namespace varnel::tools {

namespace {

using platform::controller_record;

constexpr std::array cipher_suites{1, 2, 3, 6, 7, 8, 11, 12, 15, 16, 17}; // those with a key exchange
constexpr unsigned int longest_time_out_ms = 600'000;

/// A complaint without its place.
class bad_value : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

template <typename Number>
std::optional<Number> whole_number(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool all = error == std::errc() && end == text.data() + text.size();
    return all ? std::optional(number) : std::nullopt;
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

unsigned int controller_number(std::string_view section) {
    if (section == "smc") {
        return 0;
    }
    if (section.starts_with("bmc") && section.size() > 3) {
        const auto slot = whole_number<unsigned int>(section.substr(3));
        if (slot && *slot + 1 < platform::controller_count && controller_name(*slot + 1) == section) {
            return *slot + 1;
        }
    }
    throw bad_value("no such controller: [" + std::string(section) + "]; smc, or bmc0 to bmc255");
}

void set_address(controller_record &record, std::string_view value) {
    in_addr address{};
    if (inet_pton(AF_INET, std::string(value).c_str(), &address) != 1 || address.s_addr == INADDR_ANY) {
        throw bad_value("not an IPv4 address: " + quoted(value));
    }
    inet_ntop(AF_INET, &address, record.address.data(), INET_ADDRSTRLEN);
}

void set_login_text(controller_record &record, std::string_view value, std::size_t offset, std::size_t size) {
    if (value.size() > size) {
        // The value may be a password: its length is enough to find it.
        throw bad_value("longer than " + std::to_string(size) +
                        " characters: " + std::to_string(value.size()));
    }
    std::ranges::copy(value, record.login.begin() + static_cast<std::ptrdiff_t>(offset));
}

uint8_t cipher_suite(std::string_view value) {
    const auto suite = whole_number<int>(value);
    if (!suite || std::ranges::find(cipher_suites, *suite) == cipher_suites.end()) {
        throw bad_value("not a cipher suite with authentication: " + quoted(value));
    }
    return static_cast<uint8_t>(*suite);
}

uint32_t milliseconds(std::string_view value) {
    const std::size_t digits = std::min(value.find_first_not_of("0123456789"), value.size());
    const std::string_view unit = value.substr(digits);
    const auto number = whole_number<unsigned int>(value.substr(0, digits));
    const unsigned int factor = unit == "s" ? 1000 : 1;
    if (!number || (unit != "s" && unit != "ms") || *number == 0 || *number > longest_time_out_ms / factor) {
        throw bad_value("not a time from 1ms to 600s: " + quoted(value));
    }
    return *number * factor;
}

void set_key(controller_record &record, std::string_view key, std::string_view value) {
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
        throw bad_value("no such key: " + quoted(key));
    }
}

/// What only the whole section can say.
void check_section(const controller_record &record) {
    if (record.address[0] == '\0') {
        throw bad_value("no address");
    }
    if ((record.give_up_after_ms == 0) != (record.retransmit_after_ms == 0)) {
        throw bad_value("give-up-after and retransmit-after go together");
    }
    if (record.retransmit_after_ms > record.give_up_after_ms) {
        throw bad_value("retransmit-after is longer than give-up-after");
    }
}

/// One pass through a file. inih is C: exceptions stop at its callbacks, and the first complaint is kept.
class ini_pass {
  public:
    ini_pass(std::FILE *stream, const std::string &name) : stream_(stream), name_(name) {}

    controller_records read() {
        const int bad_line = ini_parse_stream(read_line, this, take_value, this);
        if (complaint_.empty() && bad_line != 0) {
            complain(bad_line > 0 ? bad_line : line_, "neither a [section] nor key = value");
        }
        for (unsigned int i = 0; complaint_.empty() && i < records_.size(); ++i) {
            guard(first_line_[i], [&] { records_[i].present != 0 ? check_section(records_[i]) : void(); });
        }
        if (!complaint_.empty()) {
            throw controller_error(complaint_);
        }
        return records_;
    }

  private:
    static char *read_line(char *buffer, int size, void *pass) {
        auto &self = *static_cast<ini_pass *>(pass);
        char *const read = std::fgets(buffer, size, self.stream_);
        if (read != nullptr) {
            ++self.line_;
            if (std::strchr(read, '\n') == nullptr && std::feof(self.stream_) == 0) {
                self.complain(self.line_, "line longer than " + std::to_string(size - 2) + " characters");
                return nullptr;
            }
        } else if (std::ferror(self.stream_) != 0) {
            self.complain(self.line_, std::strerror(errno));
        }
        return read;
    }

    static int take_value(void *pass, const char *section, const char *key, const char *value) {
        auto &self = *static_cast<ini_pass *>(pass);
        if (self.complaint_.empty()) {
            self.guard(self.line_, [&] { self.set(section, key, value); });
        }
        return 1;
    }

    void set(std::string_view section, std::string_view key, std::string_view value) {
        const unsigned int number = controller_number(section);
        if (!seen_.insert(std::string(section) + "." + std::string(key)).second) {
            throw bad_value(quoted(key) + " given twice in [" + std::string(section) + "]");
        }
        set_key(records_[number], key, value);
        if (records_[number].present == 0) {
            records_[number].present = 1;
            first_line_[number] = line_;
        }
    }

    template <typename Action>
    void guard(int line, Action action) {
        try {
            action();
        } catch (const bad_value &error) {
            complain(line, error.what());
        }
    }

    void complain(int line, const std::string &text) {
        complaint_ = name_ + ":" + std::to_string(line) + ": " + text;
    }

    std::FILE *stream_;
    const std::string &name_;
    int line_ = 0;
    std::string complaint_;
    std::set<std::string> seen_;
    controller_records records_{};
    std::array<int, platform::controller_count> first_line_{};
};

} // namespace

controller_records read_controller_ini(std::FILE *stream, const std::string &name) {
    return ini_pass(stream, name).read();
}

std::string controller_name(unsigned int number) {
    return number == 0 ? "smc" : "bmc" + std::to_string(number - 1);
}

std::string_view login_text(const controller_record &record, std::size_t offset, std::size_t size) {
    const auto *const field = reinterpret_cast<const char *>(record.login.data()) + offset;
    return {field, strnlen(field, size)};
}

} // namespace varnel::tools
