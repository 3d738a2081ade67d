/* SPDX-License-Identifier: Apache-2.0 */
/* Calls each SMBus transaction and each function of the chip drivers on the board beside this file, and
   prints what they give: the same on any platform. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/sim/driver_family/calls.h"
#include "varnel/varnel.h"

enum { nobody_there = 0x22 };

static const uint32_t expander16 = DEVICE(0, 0x20);
static const uint32_t expander8 = DEVICE(0, 0x38);
static const uint32_t expander40 = DEVICE(0, 0x24);
static const uint32_t mux0 = DEVICE(0, 0x70);
static const uint32_t mux1 = DEVICE(0, 0x71);
static const uint32_t psu = DEVICE(0, 0x58);
static const uint32_t sel0 = DEVICE(0, 0x74);
static const uint32_t sel1 = DEVICE(1, 0x75);
static const uint32_t fru = DEVICE(0, 0x50);
static const uint32_t fru_from_1 = DEVICE(1, 0x50);
static const uint32_t spare = DEVICE(1, 0x51);
static const uint32_t absent = DEVICE(0, nobody_there);
static const uint32_t no_bus = DEVICE(9, 0x20);

/* An EEPROM does not answer while it stores what was written. */
static void wait_for(uint32_t eeprom) {
    for (int tries = 0; smbus_quick_to_device(eeprom, 0) != 0 && tries < 1000; ++tries) {
    }
}

static void smbus(void) {
    static const uint8_t text[] = {'b', 'l', 'o', 'c', 'k'};
    CALL(smbus_quick_to_device(spare, 0));
    CALL(smbus_quick_to_device(spare, 1));
    CALL(smbus_write_byte_to_device(spare, 0x20, 0x5A));
    wait_for(spare);
    BYTE(smbus_read_byte_to_device(spare, 0x20, &byte));
    CALL(smbus_write_word_to_device(spare, 0x22, 0x1234));
    wait_for(spare);
    WORD(smbus_read_word_to_device(spare, 0x22, &word));
    CALL(smbus_write_block_to_device(spare, 0x30, sizeof text, text));
    wait_for(spare);
    BYTES(6, smbus_read_block_to_device(spare, 0x30, 5, bytes));
    CALL(smbus_send_byte_to_device(spare, 0x31));
    BYTE(smbus_recv_byte_to_device(spare, &byte));
    WORD(smbus_process_call_to_device(spare, 0x40, 0xBEEF, &word));
    wait_for(spare);
    BYTES(3, smbus_block_write_block_read_process_call_to_device(spare, 0x50, sizeof text, text, 3, bytes));
    wait_for(spare);
    BYTES(4, smbus_flexible_write_read_to_device(spare, 0x60, 3, text, 4, bytes));
    wait_for(spare);
    BYTES(8, smbus_flexible_write_read_to_device(spare, 0x5E, 0, text, 8, bytes));
    CALL(smbus_quick_to_device(absent, 0));
    CALL(smbus_send_byte_to_device(absent, 1));
    BYTE(smbus_recv_byte_to_device(absent, &byte));
    BYTE(smbus_read_byte_to_device(absent, 1, &byte));
    WORD(smbus_read_word_to_device(absent, 1, &word));
    CALL(smbus_write_block_to_device(absent, 0x30, sizeof text, text));
    CALL(smbus_send_byte_to_device(no_bus, 1));
}

/* Prints the ports that `list` finds. */
static void ports_of(const char *name, int (*list)(uint32_t, uint8_t *, uint32_t *)) {
    uint8_t ports[16];
    uint32_t places[16];
    for (uint8_t i = 0; i < 16; ++i) {
        ports[i] = 0xFF;
        places[i] = i;
    }
    const int result = list(expander16, ports, places);
    say_bytes(name, result, ports, 16);
}

static void pca9555(void) {
    static const uint8_t some[] = {0, 3, 15};
    CALL(pca9555_init_port_high(expander16, some, 3));
    CALL(pca9555_init_port_output(expander16, some, 2));
    BYTE(pca9555_get_bank_dir(expander16, 0, &byte));
    BYTE(pca9555_get_bank_output(expander16, 1, &byte));
    CALL(pca9555_init_port_low(expander16, some, 1));
    BYTE(pca9555_get_bank0_data(expander16, &byte));
    BYTE(pca9555_get_bank1_data(expander16, &byte));
    CALL(pca9555_init_port_input(expander16, some, 1));
    BYTE(pca9555_get_bank_data(expander16, 0, &byte));
    CALL(pca9555_set_port_low(expander16, 9));
    CALL(pca9555_set_port_output(expander16, 9));
    BYTE(pca9555_get_port_data(expander16, 9, &byte));
    CALL(pca9555_set_port_high(expander16, 9));
    BYTE(pca9555_get_port_data(expander16, 9, &byte));
    BYTE(pca9555_get_port_dir(expander16, 9, &byte));
    CALL(pca9555_set_port_input(expander16, 9));
    BYTE(pca9555_get_port_dir(expander16, 9, &byte));
    CALL(pca9555_set_bank_data(expander16, 0, 0x0F));
    CALL(pca9555_set_bank_dir(expander16, 0, 0xF0));
    BYTE(pca9555_get_bank_data(expander16, 0, &byte));
    ports_of("pca9555_get_high_port", pca9555_get_high_port);
    ports_of("pca9555_get_low_port", pca9555_get_low_port);
    CALL(pca9555_set_port_high(absent, 1));
}

static void pca9554(void) {
    static const uint8_t some[] = {1, 7};
    CALL(pca9554_init_port_high(expander8, some, 2));
    CALL(pca9554_init_port_output(expander8, some, 2));
    BYTE(smbus_read_byte_to_device(expander8, 0, &byte));
    CALL(pca9554_init_port_low(expander8, some, 1));
    BYTE(smbus_read_byte_to_device(expander8, 0, &byte));
    CALL(pca9554_init_port_input(expander8, some, 2));
    BYTE(smbus_read_byte_to_device(expander8, 0, &byte));
    CALL(pca9554_init_port_input(absent, some, 2));
}

static void pca9505(void) {
    BYTE(pca9505_get_reg_data(expander40, 2, &byte));
    CALL(pca9505_set_port_low(expander40, 4, 7));
    CALL(pca9505_set_port_output(expander40, 4, 7));
    BYTE(pca9505_get_port_data(expander40, 4, 7, &byte));
    CALL(pca9505_set_port_high(expander40, 4, 7));
    BYTE(pca9505_get_port_data(expander40, 4, 7, &byte));
    CALL(pca9505_set_port_input(expander40, 4, 7));
    CALL(pca9505_set_bank_output(expander40, 1));
    BYTE(pca9505_get_reg_data(expander40, 0x19, &byte));
    CALL(pca9505_set_bank_input(expander40, 1));
    BYTE(pca9505_get_reg_data(expander40, 0x19, &byte));
    CALL(pca9505_clear_bank_mask(expander40, 3));
    BYTE(pca9505_get_reg_data(expander40, 0x23, &byte));
    BYTE(pca9505_get_reg_data(absent, 0, &byte));
}

static void selector(void) {
    CALL(pca9541_take_bus(sel0));
    BYTE(pca9541_read_ctrl(sel0, &byte));
    BYTE(smbus_read_byte_to_device(fru, 0, &byte));
    CALL(smbus_quick_to_device(fru_from_1, 0));
    CALL(pca9541_take_bus(sel1));
    BYTE(pca9541_read_ctrl(sel1, &byte));
    BYTES(5, smbus_read_block_to_device(fru_from_1, 0x10, 4, bytes));
    CALL(smbus_quick_to_device(fru, 0));
    BYTE(pca9541_get_intstatus(sel0, &byte));
    CALL(pca9541_clear_intstatus(sel0));
    BYTE(pca9541_get_intstatus(sel0, &byte));
    CALL(pca9541_set_intmask(sel0, 0x0F));
    CALL(pca9541_set_intmask(absent, 0x0F));
}

static void muxes(void) {
    BYTE(pca9548_get_channel(mux0, &byte));
    CALL(smbus_quick_to_device(psu, 0));
    CALL(pca9548_enable_channel(mux0, 0x01));
    BYTE(pca9548_get_channel(mux0, &byte));
    CALL(smbus_quick_to_device(psu, 0));
    CALL(pca9548_disable_channel(mux0));
    CALL(smbus_quick_to_device(psu, 0));
    CALL(pca9546_enable_channel(mux1, 0x08));
    BYTE(pca9546_get_channel(mux1, &byte));
    CALL(pca9548_disable_channel(absent));
}

/* The supply behind the channel that muxes() has left on. */
static void car2512(void) {
    uint16_t all[CAR2512_READINGS];
    CALL(car2512_cancel_write_protect(psu));
    CALL(car2512_clear_fault(psu));
    WORD(car2512_get_status(psu, &word));
    BYTE(car2512_get_vout_status(psu, &byte));
    BYTE(car2512_get_status_input(psu, &byte));
    BYTE(car2512_get_CML(psu, &byte));
    BYTE(car2512_get_mfr_specific(psu, &byte));
    BYTE(car2512_get_fan_1_2_status(psu, &byte));
    BYTE(car2512_get_frw_version(psu, &byte));
    BYTE(car2512_get_fan_duty_cycle(psu, &byte));
    CALL(car2512_set_fan_duty_cycle_upto_percent(psu, 70));
    BYTE(car2512_get_fan_duty_cycle(psu, &byte));
    CALL(car2512_set_fan_duty_cycle_upto_percent(psu, 40));
    BYTE(car2512_get_fan_duty_cycle(psu, &byte));
    CALL(car2512_set_fan_duty_cycle(psu, 55));
    BYTE(car2512_get_fan_duty_cycle(psu, &byte));
    CALL(car2512_set_fan_speed(psu, 9000));
    WORD_ABOUT(9000, 12000, car2512_get_fan_speed(psu, &word));
    WORD(car2512_get_vprog(psu, &word));
    CALL(car2512_set_output_volt(psu, 1210));
    WORD(car2512_get_output_volt(psu, &word));
    WORD_ABOUT(310, 400, car2512_get_temp(psu, &word));
    WORD(car2512_get_input_volt(psu, &word));
    WORD_ABOUT(4600, 4800, car2512_get_input_power(psu, &word));
    CALL(car2512_getall(psu, all));
    printf("all: %s\n", all[CAR2512_TEMPERATURE] >= 310 && all[CAR2512_INPUT_VOLT] == 2300 ? "as one by one"
                                                                                           : "different");
    CALL(car2512_set_power_off(psu));
    WORD(car2512_get_output_volt(psu, &word));
    CALL(car2512_set_power_on(psu));
    WORD(car2512_get_output_volt(psu, &word));
    CALL(car2512_set_power_on(absent));
}

/* 2026-01-31 23:59:58 UTC: the clock passes midnight and the end of a month while it is looked at, and is
   read until two readings agree. */
static void ds3232(void) {
    enum { before_midnight = 1769903998, most_seconds = 60 };
    CALL(ds3232_set_time(before_midnight));
    time_t now = 0;
    time_t again = 0;
    int result;
    do {
        result = ds3232_get_time(&now) | ds3232_get_time(&again);
    } while (result == 0 && (now != again || now < before_midnight + 3));
    printf("ds3232_get_time: %d, %s\n", result,
           now < before_midnight + most_seconds ? "three seconds later and more" : "another time");
}

int main(void) {
    setenv("TZ", "UTC", 1);
    setvbuf(stdout, NULL, _IOLBF, 0); /* one order with the library's own lines */
    smbus();
    pca9555();
    pca9554();
    pca9505();
    selector();
    muxes();
    car2512();
    ds3232();
    return 0;
}
