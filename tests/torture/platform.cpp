// SPDX-License-Identifier: Apache-2.0
// The platform's functions: each succeeds unless a trial makes it fail.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "torture/network.h"
#include "torture/torture.h"
#include "varnel/platform.h"

varnel::test::network varnel::test::the_network;

using varnel::test::effect;
using varnel::test::fault_of;

namespace {

int transferred(const char *kind, uint16_t length) {
    const effect *const how = fault_of(kind);
    if (how == nullptr) {
        return length;
    }
    return how->what == effect::shape::short_count ? length - 1 : -1;
}

int result_of(const char *kind) { return fault_of(kind) != nullptr ? -1 : 0; }
uint16_t status_of(const char *kind) { return fault_of(kind) != nullptr ? 0xC3 : 0; }

} // namespace

int i2c_master_write_on_bus(uint8_t /*bus*/, uint8_t /*slave*/, const uint8_t * /*buffer*/, uint16_t length) {
    return transferred("i2c write", length);
}

int i2c_master_read_on_bus(uint8_t /*bus*/, uint8_t /*slave*/, uint8_t *buffer, uint16_t length) {
    std::fill_n(buffer, length, uint8_t{1});
    return transferred("i2c read", length);
}

int i2c_writeread_on_bus(uint8_t /*bus*/, uint8_t /*slave*/, const uint8_t * /*write_buffer*/,
                         uint8_t *read_buffer, uint16_t /*write_length*/, uint16_t read_length) {
    std::fill_n(read_buffer, read_length, uint8_t{1});
    return result_of("i2c write-read");
}

int file_lock_write(int fd) { return fd < 0 ? -1 : result_of("lock"); }
int file_unlock(int fd) { return fd < 0 ? -1 : result_of("unlock"); }
int IDBG_LINUXAPP_DbgOut(int /*level*/, const char * /*format*/, ...) { return 0; }

uint8_t *smc_get_shared_memory(int /*dev_id*/) {
    static std::array<uint8_t, LOGIN_RECORD_SIZE> record{};
    return record.data();
}

int get_device_ip(int /*dev_id*/, char *ip) {
    const int result = result_of("device address");
    std::strcpy(ip, result == 0 ? "192.0.2.1" : "0.0.0.0");
    return result;
}

uint16_t LIBIPMI_Create_IPMI20_Session(void *, const char *, uint16_t, const char *, const char *, uint8_t,
                                       uint8_t *, uint8_t *, uint8_t *, uint8_t, uint8_t, uint8_t, uint8_t,
                                       uint8_t, uint8_t) {
    return status_of("create session");
}

uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *, uint8_t, uint8_t, uint8_t, uint8_t *, uint32_t, uint8_t *,
                                          uint32_t *, int) {
    return status_of("send command");
}

uint16_t LIBIPMI_CloseSession(void *) { return status_of("close session"); }
