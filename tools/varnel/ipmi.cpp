// SPDX-License-Identifier: Apache-2.0
// varnel ipmi: raw commands to other controllers, one session each.

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fmt/format.h>

#include "host/hex.h"
#include "host/numbers.h"
#include "host/options.h"
#include "tools/varnel/json_text.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "varnel/ipmi_relay.h"

namespace varnel::tools {

namespace {

constexpr const char *adapter = "libvarnel_platform_ipmi.so.1";
constexpr std::size_t response_room = 1024;
constexpr int smc = 0;

struct ipmi_arguments {
    std::optional<uint8_t> slot; ///< none: the SMC
    uint64_t command = 0;
    std::vector<uint8_t> request;
};

struct ipmi_response {
    bool good;
    std::vector<uint8_t> bytes; ///< completion code first
};

/// The adapter is loaded only here, so that the command needs it for nothing else, unless a board's own
/// library stands in front of it.
void load_adapter() {
    if (dlsym(RTLD_DEFAULT, "LIBIPMI_Create_IPMI20_Session") == nullptr &&
        dlopen(adapter, RTLD_LAZY | RTLD_GLOBAL) == nullptr) {
        throw failed(fmt::format("no IPMI library: {}", dlerror()));
    }
}

std::string name_of(const ipmi_arguments &given) {
    return given.slot ? fmt::format("bmc{}", *given.slot) : "smc";
}

/// Asks for the login, too, so that a controller without one is told from one that does not answer.
std::string address_of(const ipmi_arguments &given) {
    bmc_session_info login{};
    get_bmc_session_info(given.slot ? *given.slot + 1 : smc, &login);
    std::string address(login.ip, strnlen(login.ip, sizeof login.ip));
    explicit_bzero(&login, sizeof login);
    if (address == "0.0.0.0") {
        throw failed(fmt::format("{}: no address; see varnel controllers", name_of(given)));
    }
    return address;
}

ipmi_response relay(const ipmi_arguments &given) {
    std::vector<uint8_t> request = given.request;
    const auto size = static_cast<uint32_t>(request.size());
    const auto command = static_cast<uint8_t>(given.command);
    std::vector<uint8_t> response(response_room);
    auto length = static_cast<uint32_t>(response.size());
    const int result =
        given.slot
            ? smc_send_command_to_bmc(*given.slot, command, request.data(), size, response.data(), &length)
            : bmc_send_command_to_smc(command, request.data(), size, response.data(), &length);
    // Without an answer the library leaves the response as it was.
    const bool answered = result == 0 || response[0] != 0;
    response.resize(answered ? length : 0);
    return {result == 0, std::move(response)};
}

void send_raw(const invocation &call, const ipmi_arguments &given) {
    load_adapter();
    const std::string address = address_of(given);
    const ipmi_response response = relay(given);
    if (response.bytes.empty()) {
        throw failed(fmt::format("{} ({}): no session, or no answer", name_of(given), address));
    }
    if (!response.good) {
        throw failed(fmt::format("{} ({}): completion code 0x{:02x}, see IPMI 2.0 table 5-2", name_of(given),
                                 address, response.bytes[0]));
    }
    const json all{{"controller", name_of(given)}, {"address", address}, {"response", response.bytes}};
    print(call.json ? json_text(all) : hex(response.bytes, " ") + "\n");
}

std::optional<uint8_t> slot_from(const std::string &text) {
    return text == "smc" ? std::nullopt : std::optional(static_cast<uint8_t>(c_number(text, 255, "SLOT")));
}

} // namespace

void add_ipmi(argument_parser app, invocation &call) {
    verbs<ipmi_arguments> ipmi(app, call, "ipmi", "Commands to other controllers, over IPMI 2.0");
    const auto raw =
        ipmi.add("raw", "Send a command (network function 0x38), and print the response", send_raw);
    raw.parser.add_note("The response begins with the completion code.");
    add_argument(raw.parser, "SLOT", raw.given.slot, slot_from, "of the BMC, 0 to 255; smc is the SMC",
                 "smc|SLOT");
    add_number(raw.parser, "CMD", raw.given.command, UINT8_MAX, "command byte");
    add_bytes(raw.parser, "BYTES", raw.given.request, "request data").required(false);
    add_json(raw.parser, call);
}

} // namespace varnel::tools
