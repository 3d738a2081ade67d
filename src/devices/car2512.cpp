// SPDX-License-Identifier: Apache-2.0
#include "varnel/car2512.h"

#include "varnel/smbus.h"

namespace {

// PMBus commands, then the manufacturer's from D0.
enum car2512_command : uint8_t {
    operation = 0x01,
    clear_faults = 0x03,
    write_protect = 0x10,
    fan_command_1 = 0x3B,
    status_word = 0x79,
    status_vout = 0x7A,
    status_input = 0x7C,
    status_cml = 0x7E,
    status_mfr_specific = 0x80,
    status_fans_1_2 = 0x81,
    firmware_version = 0xD0,
    set_output_volt = 0xD4,
    fan_duty_cycle = 0xD6,
    set_fan_duty_cycle = 0xD7,
    programmed_volt = 0xD8,
    output_volt = 0xE0,
    temperature = 0xE2,
    fan_speed = 0xE9,
    input_volt = 0xED,
    input_power = 0xEF,
};

constexpr uint8_t output_on = 0x80;
constexpr uint8_t output_off = 0x00;

int unprotect_and_write_byte(uint32_t device, car2512_command command, uint8_t data) {
    return car2512_cancel_write_protect(device) != 0 ? -1 : smbus_write_byte_to_device(device, command, data);
}

int unprotect_and_write_word(uint32_t device, car2512_command command, uint16_t data) {
    return car2512_cancel_write_protect(device) != 0 ? -1 : smbus_write_word_to_device(device, command, data);
}

} // namespace

// clang-format off

// --- Readings: one command each, raw ---

int car2512_get_status          (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, status_word, word); }
int car2512_get_vout_status     (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, status_vout, byte); }
int car2512_get_status_input    (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, status_input, byte); }
int car2512_get_CML             (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, status_cml, byte); }
int car2512_get_mfr_specific    (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, status_mfr_specific, byte); }
int car2512_get_fan_1_2_status  (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, status_fans_1_2, byte); }
int car2512_get_frw_version     (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, firmware_version, byte); }
int car2512_get_fan_duty_cycle  (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, fan_duty_cycle, byte); }
int car2512_get_vprog           (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, programmed_volt, word); }
int car2512_get_output_volt     (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, output_volt, word); }
int car2512_get_temp            (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, temperature, word); }
int car2512_get_fan_speed       (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, fan_speed, word); }
int car2512_get_input_volt      (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, input_volt, word); }
int car2512_get_input_power     (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, input_power, word); }

// --- Commands without protection ---

int car2512_cancel_write_protect(uint32_t device) { return smbus_write_byte_to_device(device, write_protect, 0x00); }
int car2512_clear_fault         (uint32_t device) { return smbus_send_byte_to_device(device, clear_faults); }

// --- Settings: write protection is cancelled first ---

int car2512_set_power_on        (uint32_t device)                  { return unprotect_and_write_byte(device, operation, output_on); }
int car2512_set_power_off       (uint32_t device)                  { return unprotect_and_write_byte(device, operation, output_off); }
int car2512_set_fan_speed       (uint32_t device, uint16_t speed)  { return unprotect_and_write_word(device, fan_command_1, speed); }
int car2512_set_fan_duty_cycle  (uint32_t device, uint8_t percent) { return unprotect_and_write_byte(device, set_fan_duty_cycle, percent); }
int car2512_set_output_volt     (uint32_t device, uint16_t volt)   { return unprotect_and_write_word(device, set_output_volt, volt); }

// clang-format on

int car2512_set_fan_duty_cycle_upto_percent(uint32_t device, uint8_t percent) {
    uint8_t now = 0;
    if (car2512_get_fan_duty_cycle(device, &now) != 0) {
        return -1;
    }
    return now >= percent ? 0 : car2512_set_fan_duty_cycle(device, percent);
}

int car2512_getall(uint32_t device, uint16_t *record) {
    const bool all_read = car2512_get_input_power(device, &record[CAR2512_INPUT_POWER]) == 0 &&
                          car2512_get_temp(device, &record[CAR2512_TEMPERATURE]) == 0 &&
                          car2512_get_input_volt(device, &record[CAR2512_INPUT_VOLT]) == 0 &&
                          car2512_get_fan_speed(device, &record[CAR2512_FAN_SPEED]) == 0;
    return all_read ? 0 : -1;
}
