// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "varnel/ipmi_relay.h"
#include "varnel/platform.h"

namespace {

constexpr int32_t smc = 0;
constexpr int32_t bmc_in(uint8_t slot) { return slot + 1; }

constexpr uint8_t relay_function = 0x38;
constexpr int command_timeout = 10;
constexpr std::size_t session_size = 32; // of the platform's session object

int send_command(int32_t dev_id, uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res,
                 uint32_t *res_len) {
    bmc_session_info info{};
    alignas(std::max_align_t) std::array<uint8_t, session_size> session{};
    if (get_bmc_session_info(dev_id, &info) == -1) {
        // GCOVR_EXCL_START: never reached, because the function always succeeds
        std::puts("easy_session.c:32:send_command():get_bmc_session_info( dev_id, &bmc_session_inf )");
        return -1;
        // GCOVR_EXCL_STOP
    }
    if (lan_create_session(&info, session.data()) == -1) {
        return -1;
    }
    const uint16_t status = LIBIPMI_Send_RAW_IPMI2_0_Command(session.data(), 0, relay_function, cmd, req,
                                                             req_len, res, res_len, command_timeout);
    lan_close_session(session.data());
    return status == 0 ? 0 : -1;
}

} // namespace

int smc_send_command_to_bmc(uint8_t slot, uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res,
                            uint32_t *res_len) {
    return send_command(bmc_in(slot), cmd, req, req_len, res, res_len);
}

int bmc_send_command_to_smc(uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len) {
    return send_command(smc, cmd, req, req_len, res, res_len);
}
