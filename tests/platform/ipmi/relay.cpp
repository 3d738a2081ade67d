// SPDX-License-Identifier: Apache-2.0
#include "relay.h"

#include <cstring>

#include "varnel/platform.h"

namespace {

void copy_field(char *to, const uint8_t *from, std::size_t size) {
    std::memset(to, 0, size);
    std::memcpy(to, from, strnlen(reinterpret_cast<const char *>(from), size));
}

} // namespace

int get_bmc_session_info(int32_t dev_id, bmc_session_info *pSession) {
    const uint8_t *const record = smc_get_shared_memory(dev_id);
    get_device_ip(dev_id, pSession->ip.data());
    copy_field(pSession->user_name.data(), record + 2, pSession->user_name.size());
    copy_field(pSession->password.data(), record + 18, pSession->password.size());
    return 0;
}

int lan_create_session(bmc_session_info *info, void *IPMISession) {
    if (std::strcmp(info->ip.data(), "0.0.0.0") == 0) {
        return -1;
    }
    uint8_t privilege = 4;
    return LIBIPMI_Create_IPMI20_Session(IPMISession, info->ip.data(), 623, info->user_name.data(),
                                         info->password.data(), 6, nullptr, nullptr, &privilege, 1, 0x81,
                                         0x20, 0, 0, 5) == 0
               ? 0
               : -1;
}

int smc_send_command_to_bmc(uint8_t slot, uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res,
                            uint32_t *res_len) {
    bmc_session_info info{};
    std::array<uint8_t, 32> session{};
    get_bmc_session_info(slot + 1, &info);
    if (lan_create_session(&info, session.data()) != 0) {
        return -1;
    }
    const uint16_t status =
        LIBIPMI_Send_RAW_IPMI2_0_Command(session.data(), 0, 0x38, cmd, req, req_len, res, res_len, 10);
    LIBIPMI_CloseSession(session.data());
    return status == 0 ? 0 : -1;
}
