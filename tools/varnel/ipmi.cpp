// SPDX-License-Identifier: Apache-2.0
// varnel ipmi: raw commands to other controllers, one session each.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include "host/hex.h"
#include "host/input_file.h"
#include "host/options.h"
#include "tools/varnel/controller_admin/controller_table_file.h"
#include "tools/varnel/host_address.h"
#include "tools/varnel/ipmi_session.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/ipmi_relay.h"

namespace varnel::tools {

namespace {

constexpr uint8_t oem_function = 0x38; // that of the relay between controllers
constexpr uint64_t last_net_function = 0x3f;
constexpr uint64_t last_cipher_suite = 17;

/// Whom a command is for: a controller of the table, or any host.
struct controller {
    std::string name;          ///< "smc", "bmc3", or what the user typed
    std::optional<int> number; ///< in the table; none for a host
};

struct ipmi_arguments {
    controller to;
    uint64_t command = 0;
    std::vector<uint8_t> data;
    uint64_t net_function = oem_function;
    std::string user;
    std::string password_file;
    std::optional<uint64_t> cipher_suite;
};

/// A login, wiped at the end.
struct login {
    bmc_session_info info{};

    login() = default;
    login(const login &) = delete;
    login &operator=(const login &) = delete;
    ~login() { explicit_bzero(&info, sizeof info); }
};

/// A table in which a host has a cipher suite, as long as this lives: the IPMI library looks there.
class suite_table {
  public:
    suite_table(const char *address, uint8_t suite) : name_(fmt::format("/varnel-ipmi-{}", getpid())) {
        controller_records records{};
        platform::controller_record &host = records.front();
        platform::find_controller(address, host); // keeps its time-outs
        host.login.fill(0);
        host.present = 1;
        host.cipher_suite = suite;
        std::strncpy(host.address.data(), address, host.address.size() - 1);
        publish_controller_table(records, name_);
        setenv(platform::table_name_variable, name_.c_str(), 1);
    }
    ~suite_table() { shm_unlink(name_.c_str()); }
    suite_table(const suite_table &) = delete;
    suite_table &operator=(const suite_table &) = delete;

  private:
    std::string name_;
};

/// A field has no NUL when it is full.
void fill(std::span<char> field, const std::string &text, const char *what) {
    if (text.size() > field.size()) {
        throw bad_usage(fmt::format("{}: longer than {} bytes", what, field.size()));
    }
    std::ranges::fill(field, '\0');
    std::ranges::copy(text, field.begin());
}

/// The first line.
std::string password_in(const std::string &file) {
    std::string text = host::input_file(file).content();
    std::string line = text.substr(0, text.find('\n'));
    explicit_bzero(text.data(), text.size());
    return line;
}

void find_login(const ipmi_arguments &given, bmc_session_info &info) {
    if (given.to.number) {
        get_bmc_session_info(*given.to.number, &info);
        if (std::strncmp(info.ip, "0.0.0.0", sizeof info.ip) == 0) {
            throw failed(fmt::format("{}: no address; see varnel controllers", given.to.name));
        }
    } else {
        fill(info.ip, ipv4_address_of(given.to.name), "HOST");
    }
    if (!given.user.empty()) {
        fill(info.user_name, given.user, "--user");
    }
    if (!given.password_file.empty()) {
        std::string password = password_in(given.password_file);
        fill(info.password, password, "--password-file");
        explicit_bzero(password.data(), password.size());
    }
}

void send_raw(const invocation &call, const ipmi_arguments &given) {
    load_ipmi_library();
    login to;
    find_login(given, to.info);
    std::optional<suite_table> suite;
    if (given.cipher_suite) {
        suite.emplace(to.info.ip, static_cast<uint8_t>(*given.cipher_suite));
    }
    std::vector<uint8_t> response;
    try {
        ipmi_session session(to.info);
        response = session.send(
            {static_cast<uint8_t>(given.net_function), static_cast<uint8_t>(given.command), given.data});
    } catch (const failed &problem) {
        throw failed(fmt::format("{} ({}): {}", given.to.name, to.info.ip, problem.what()));
    }
    const json all{{"controller", given.to.name}, {"address", to.info.ip}, {"response", response}};
    print(call.json ? json_text(all) : hex(response, " ") + "\n");
}

controller controller_from(const std::string &text) {
    if (text == "smc") {
        return {text, 0};
    }
    if (text.find_first_not_of("0123456789") != std::string::npos && !text.starts_with("0x")) {
        return {text, std::nullopt};
    }
    const auto slot = static_cast<int>(c_number(text, UINT8_MAX, "SLOT"));
    return {fmt::format("bmc{}", slot), slot + 1};
}

} // namespace

void add_ipmi(argument_parser app, invocation &call) {
    verbs<ipmi_arguments> ipmi(app, call, "ipmi", "Commands to other controllers, over IPMI 2.0");
    const auto raw = ipmi.add("raw", "Send a command, and print the response", send_raw);
    raw.parser.add_note(
        "The response begins with the completion code. Sessions have Administrator privilege.");
    add_argument(raw.parser, "SLOT", raw.given.to, controller_from,
                 "of the BMC, 0 to 255; smc is the SMC; or a host's name or IPv4 address", "smc|SLOT|HOST");
    add_number(raw.parser, "CMD", raw.given.command, UINT8_MAX, "command byte");
    add_bytes(raw.parser, "BYTES", raw.given.data, "request data").required(false);
    add_number(raw.parser, "--netfn", raw.given.net_function, last_net_function,
               "network function; default: 0x38");
    raw.parser.add_option("--user", raw.given.user, "default: the table's; for a host, none")
        .type_name("NAME");
    raw.parser.add_option("--password-file", raw.given.password_file, "its first line; - is standard input")
        .type_name("FILE");
    add_number(
        raw.parser, "--cipher-suite", raw.given.cipher_suite, {1, last_cipher_suite},
        "with libvarnel_platform_ipmi; default: the table's, otherwise 17, and 3 where that is refused");
    add_json(raw.parser, call);
}

} // namespace varnel::tools
