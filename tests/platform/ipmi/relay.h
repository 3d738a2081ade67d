// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

/// The library's relay in its smallest form: what it passes to the platform functions, in the same order.
/// Names and types are the library's, so that a program linked with both uses one of them.

struct bmc_session_info {
    std::array<char, 20> ip;
    std::array<char, 16> user_name;
    std::array<char, 20> password;
};

extern "C" {
int get_bmc_session_info(int32_t dev_id, bmc_session_info *pSession);
int lan_create_session(bmc_session_info *info, void *IPMISession);
int smc_send_command_to_bmc(uint8_t slot, uint8_t cmd, uint8_t *req, uint32_t req_len, uint8_t *res,
                            uint32_t *res_len);
}
