// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/ipmi_session.h"

#include <array>
#include <cstring>

#include <dlfcn.h>
#include <fmt/format.h>

#include "tools/varnel/commands.h"

namespace varnel::tools {

namespace {

constexpr const char *adapter = "libvarnel_platform_ipmi.so.1";
constexpr std::size_t response_room = 1024;
constexpr uint16_t ipmi_port = 623;
constexpr uint8_t administrator = 4;
constexpr uint8_t session_timeout = 5;    // seconds
constexpr int command_timeout = 10;       // seconds
constexpr uint16_t first_status = 0x0101; // those below are completion codes

/// Of libvarnel_platform_ipmi, from first_status on (docs/porting.md).
constexpr std::array causes{"bad argument",
                            "user unknown",
                            "wrong password",
                            "privilege level not granted",
                            "cipher suite not known to the BMC",
                            "no answer in time",
                            "host cannot be reached",
                            "BMC busy",
                            "out of memory",
                            "response too long",
                            "session not open",
                            "invalid answer"};

template <typename Function>
Function function_named(const char *name) {
    void *const found = dlsym(RTLD_DEFAULT, name);
    if (found == nullptr) {
        throw failed(fmt::format("no IPMI library: {}", dlerror()));
    }
    return reinterpret_cast<Function>(found);
}

/// Another library's statuses mean something else.
bool is_adapters(uint16_t status) {
    Dl_info library{};
    return status >= first_status && status < first_status + causes.size() &&
           dladdr(dlsym(RTLD_DEFAULT, "LIBIPMI_Create_IPMI20_Session"), &library) != 0 &&
           std::strstr(library.dli_fname, adapter) != nullptr;
}

[[noreturn]] void fail(const char *what, uint16_t status) {
    throw failed(is_adapters(status)
                     ? fmt::format("{}: {} (status 0x{:04x})", what, causes.at(status - first_status), status)
                     : fmt::format("{}: status 0x{:04x}", what, status));
}

} // namespace

void load_ipmi_library() {
    if (dlsym(RTLD_DEFAULT, "LIBIPMI_Create_IPMI20_Session") == nullptr &&
        dlopen(adapter, RTLD_LAZY | RTLD_GLOBAL) == nullptr) {
        throw failed(fmt::format("no IPMI library: {}", dlerror()));
    }
}

/// The arguments that have no name here are those of lan_create_session().
ipmi_session::ipmi_session(const bmc_session_info &login)
    : close_(function_named<close_function>("LIBIPMI_CloseSession")) {
    const auto create =
        function_named<decltype(&LIBIPMI_Create_IPMI20_Session)>("LIBIPMI_Create_IPMI20_Session");
    uint8_t privilege = administrator;
    const uint16_t status = create(storage_.data(), login.ip, ipmi_port, login.user_name, login.password, 6,
                                   nullptr, nullptr, &privilege, 1, 0x81, 0x20, 0, 0, session_timeout);
    if (status != 0) {
        fail("no session", status);
    }
}

ipmi_session::~ipmi_session() { close_(storage_.data()); }

std::vector<uint8_t> ipmi_session::send(ipmi_request request) {
    const auto raw =
        function_named<decltype(&LIBIPMI_Send_RAW_IPMI2_0_Command)>("LIBIPMI_Send_RAW_IPMI2_0_Command");
    std::vector<uint8_t> response(response_room);
    auto length = static_cast<uint32_t>(response.size());
    const uint16_t status =
        raw(storage_.data(), 0, request.net_function, request.command, request.data.data(),
            static_cast<uint32_t>(request.data.size()), response.data(), &length, command_timeout);
    if (status != 0 && status < first_status) {
        throw failed(fmt::format("completion code 0x{:02x}, see IPMI 2.0 table 5-2", status));
    }
    if (status != 0) {
        fail("no response", status);
    }
    response.resize(length);
    return response;
}

} // namespace varnel::tools
