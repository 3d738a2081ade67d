// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/assertion.h"
#include "varnel/ipmi_relay.h"
#include "varnel/platform.h"

namespace {

constexpr const char *source = "lan_session_ifc.c";

constexpr char no_address[] = "0.0.0.0";
constexpr uint16_t ipmi_port = 623; // IANA: asf-rmcp
constexpr uint8_t administrator = 4;
constexpr uint8_t session_timeout = 5;

static_assert(sizeof bmc_session_info::user_name == LOGIN_USER_NAME_SIZE);
static_assert(sizeof bmc_session_info::password == LOGIN_PASSWORD_SIZE);

// The tenth argument of the platform's session call
enum class session_kind : uint8_t { plain = 1, over_udp = 4 };

constexpr int result_of(uint16_t status) { return status == 0 ? 0 : -1; }

/// As strncpy(): pads with NULs and does not terminate a full field.
template <std::size_t size>
void copy_field(char (&field)[size], const uint8_t *from) {
    std::memset(field, 0, size);
    memccpy(field, from, '\0', size);
}

int create_session(bmc_session_info *info, void *session, session_kind kind) {
    if (std::strcmp(info->ip, no_address) == 0) {
        return -1;
    }
    uint8_t privilege = administrator;
    return result_of(LIBIPMI_Create_IPMI20_Session(
        session, info->ip, ipmi_port, info->user_name, info->password, 6, nullptr, nullptr, &privilege,
        static_cast<uint8_t>(kind), 0x81, 0x20, 0, 0, session_timeout));
}

} // namespace

int get_bmc_session_info(int32_t dev_id, bmc_session_info *pSession) {
    varnel::require(pSession != nullptr, "pSession != ((void *)0)", source);
    const uint8_t *record = smc_get_shared_memory(dev_id);
    get_device_ip(dev_id, pSession->ip);
    copy_field(pSession->user_name, record + LOGIN_USER_NAME_OFFSET);
    copy_field(pSession->password, record + LOGIN_PASSWORD_OFFSET);
    return 0;
}

int lan_create_session(bmc_session_info *info, void *IPMISession) {
    varnel::require(IPMISession != nullptr, "IPMISession != ((void *)0)", source);
    return create_session(info, IPMISession, session_kind::plain);
}

int lan_create_session_over_udp(bmc_session_info *info, void *IPMISession) {
    varnel::require(IPMISession != nullptr, "IPMISession != ((void *)0)", source);
    return create_session(info, IPMISession, session_kind::over_udp);
}

int lan_close_session(void *session) { return result_of(LIBIPMI_CloseSession(session)); }
