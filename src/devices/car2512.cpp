// SPDX-License-Identifier: Apache-2.0
#include "varnel/car2512.h"

#include "varnel/smbus.h"

namespace {

int unprotect_and_write_byte(uint32_t device, car2512_command command, uint8_t data) {
    return car2512_cancel_write_protect(device) != 0
               ? -1
               : smbus_write_byte_to_device(device, static_cast<uint8_t>(command), data);
}

int unprotect_and_write_word(uint32_t device, car2512_command command, uint16_t data) {
    return car2512_cancel_write_protect(device) != 0
               ? -1
               : smbus_write_word_to_device(device, static_cast<uint8_t>(command), data);
}

} // namespace

// clang-format off

// --- Readings: one command each, raw ---

int car2512_get_status          (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_STATUS_WORD, word); }
int car2512_get_vout_status     (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_STATUS_VOUT, byte); }
int car2512_get_status_input    (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_STATUS_INPUT, byte); }
int car2512_get_CML             (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_STATUS_CML, byte); }
int car2512_get_mfr_specific    (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_STATUS_MFR_SPECIFIC, byte); }
int car2512_get_fan_1_2_status  (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_STATUS_FANS_1_2, byte); }
int car2512_get_frw_version     (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_FIRMWARE_VERSION, byte); }
int car2512_get_fan_duty_cycle  (uint32_t device, uint8_t *byte)  { return smbus_read_byte_to_device(device, CAR2512_COMMAND_FAN_DUTY_CYCLE, byte); }
int car2512_get_vprog           (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_PROGRAMMED_VOLT, word); }
int car2512_get_output_volt     (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_OUTPUT_VOLT, word); }
int car2512_get_temp            (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_TEMPERATURE, word); }
int car2512_get_fan_speed       (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_FAN_SPEED, word); }
int car2512_get_input_volt      (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_INPUT_VOLT, word); }
int car2512_get_input_power     (uint32_t device, uint16_t *word) { return smbus_read_word_to_device(device, CAR2512_COMMAND_INPUT_POWER, word); }

// --- Commands without protection ---

int car2512_cancel_write_protect(uint32_t device) { return smbus_write_byte_to_device(device, CAR2512_COMMAND_WRITE_PROTECT, 0x00); }
int car2512_clear_fault         (uint32_t device) { return smbus_send_byte_to_device(device, CAR2512_COMMAND_CLEAR_FAULTS); }

// --- Settings: write protection is cancelled first ---

int car2512_set_power_on        (uint32_t device)                  { return unprotect_and_write_byte(device, CAR2512_COMMAND_OPERATION, CAR2512_OPERATION_ON); }
int car2512_set_power_off       (uint32_t device)                  { return unprotect_and_write_byte(device, CAR2512_COMMAND_OPERATION, CAR2512_OPERATION_OFF); }
int car2512_set_fan_speed       (uint32_t device, uint16_t speed)  { return unprotect_and_write_word(device, CAR2512_COMMAND_FAN_COMMAND_1, speed); }
int car2512_set_fan_duty_cycle  (uint32_t device, uint8_t percent) { return unprotect_and_write_byte(device, CAR2512_COMMAND_SET_FAN_DUTY_CYCLE, percent); }
int car2512_set_output_volt     (uint32_t device, uint16_t volt)   { return unprotect_and_write_word(device, CAR2512_COMMAND_SET_OUTPUT_VOLT, volt); }

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
