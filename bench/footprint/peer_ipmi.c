/* SPDX-License-Identifier: Apache-2.0 */
#include <freeipmi/freeipmi.h>
#include <stddef.h>
#include <stdint.h>

#include "jobs.h"

int relay_command(void) {
    const uint8_t request[] = {1, 0};
    uint8_t response[64] = {0};
    ipmi_ctx_t context = ipmi_ctx_create();
    if (context == NULL) {
        return -1;
    }
    int length = -1;
    if (ipmi_ctx_open_outofband_2_0(context, "127.0.0.1", "admin", "secret", NULL, 0,
                                    IPMI_PRIVILEGE_LEVEL_ADMIN, 17, 2600, 2500, 0, 0) == 0) {
        length = ipmi_cmd_raw(context, 0, 0x38, request, sizeof request, response, sizeof response);
        (void)ipmi_ctx_close(context);
    }
    ipmi_ctx_destroy(context);
    return length < 2 || response[1] != 0 ? -1 : 0;
}
