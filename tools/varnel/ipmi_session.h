// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "varnel/ipmi_relay.h"
#include "varnel/platform.h"

namespace varnel::tools {

/// Loads libvarnel_platform_ipmi, unless a board's own library with its functions is loaded. Throws failed.
void load_ipmi_library();

struct ipmi_request {
    uint8_t net_function = 0;
    uint8_t command = 0;
    std::vector<uint8_t> data;
};

/// A session that the platform's IPMI library opens. Messages of what it throws, failed, name the status, and its cause when
/// the library is libvarnel_platform_ipmi.
class ipmi_session {
  public:
    explicit ipmi_session(const bmc_session_info &login);
    ~ipmi_session();
    ipmi_session(const ipmi_session &) = delete;
    ipmi_session &operator=(const ipmi_session &) = delete;

    /// The response, completion code first. Throws also for a completion code other than 0.
    [[nodiscard]] std::vector<uint8_t> send(ipmi_request request);

  private:
    using close_function = decltype(&LIBIPMI_CloseSession);

    close_function close_;
    alignas(void *) std::array<uint8_t, 32> storage_{};
};

} // namespace varnel::tools
