// SPDX-License-Identifier: Apache-2.0
#include "ipmi/status.h"

#include <freeipmi/freeipmi.h>

namespace varnel::platform {

ipmi_status status_of_error(int error) {
    switch (error) {
    case IPMI_ERR_SUCCESS:
        return ipmi_status::success;
    case IPMI_ERR_PARAMETERS:
    case IPMI_ERR_HOSTNAME_INVALID:
        return ipmi_status::bad_argument;
    case IPMI_ERR_USERNAME_INVALID:
        return ipmi_status::user_unknown;
    case IPMI_ERR_PASSWORD_INVALID:
        return ipmi_status::password_wrong;
    case IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT:
    case IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED:
        return ipmi_status::privilege_refused;
    case IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE:
    case IPMI_ERR_IPMI_2_0_UNAVAILABLE:
        return ipmi_status::cipher_suite_refused;
    case IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT:
    case IPMI_ERR_CONNECTION_TIMEOUT:
    case IPMI_ERR_SESSION_TIMEOUT:
    case IPMI_ERR_MESSAGE_TIMEOUT:
        return ipmi_status::no_answer;
    case IPMI_ERR_SYSTEM_ERROR:
        return ipmi_status::unreachable;
    case IPMI_ERR_BMC_BUSY:
        return ipmi_status::busy;
    case IPMI_ERR_OUT_OF_MEMORY:
        return ipmi_status::out_of_memory;
    default:
        return ipmi_status::failed;
    }
}

} // namespace varnel::platform
