/* SPDX-License-Identifier: Apache-2.0 */
/* Calls the library on QEMU's models of chips, at a bus of the SoC that QEMU's ast2600-evb is made of (see boot),
   and prints what the calls give. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "tests/sim/driver_family/calls.h"
#include "varnel/varnel.h"

static const uint32_t mux0 = DEVICE(0, 0x70);
static const uint32_t mux1 = DEVICE(0, 0x71);
static const uint32_t sensor = DEVICE(0, 0x48);     /* behind channel 0 of mux0 */
static const uint32_t eeprom = DEVICE(0, 0x51);     /* behind channel 1 of mux0 */
static const uint32_t far_eeprom = DEVICE(0, 0x52); /* behind channel 3 of mux1 */
static const uint32_t controller = DEVICE(0, 0x10);
static const uint32_t absent = DEVICE(0, 0x22);
static const uint32_t other_bus = DEVICE(1, 0x70);

static void muxes(void) {
    BYTE(pca9548_get_channel(mux0, &byte));
    CALL(smbus_quick_to_device(sensor, 0));
    CALL(pca9548_enable_channel(mux0, 0x01));
    BYTE(pca9548_get_channel(mux0, &byte));
    CALL(smbus_quick_to_device(sensor, 0));
    CALL(smbus_quick_to_device(eeprom, 0));
    CALL(pca9548_enable_channel(mux0, 0x02));
    CALL(smbus_quick_to_device(sensor, 0));
    CALL(smbus_quick_to_device(eeprom, 0));
    CALL(pca9548_enable_channel(mux0, 0x03));
    CALL(smbus_quick_to_device(sensor, 0));
    CALL(smbus_quick_to_device(eeprom, 0));
    CALL(pca9548_disable_channel(mux0));
    CALL(smbus_quick_to_device(sensor, 0));
    BYTE(pca9546_get_channel(mux1, &byte));
    CALL(pca9546_enable_channel(mux1, 0x08));
    BYTE(pca9546_get_channel(mux1, &byte));
    CALL(smbus_quick_to_device(far_eeprom, 0));
    CALL(pca9546_enable_channel(mux1, 0));
    CALL(smbus_quick_to_device(far_eeprom, 0));
    CALL(pca9548_enable_channel(absent, 1));
    CALL(pca9548_enable_channel(other_bus, 1));
}

/* TMP105: words have the high byte first. */
static void temperature_sensor(void) {
    CALL(pca9548_enable_channel(mux0, 0x01));
    WORD(smbus_read_word_to_device(sensor, 0, &word));
    WORD(smbus_read_word_to_device(sensor, 2, &word));
    WORD(smbus_read_word_to_device(sensor, 3, &word));
    CALL(smbus_write_byte_to_device(sensor, 1, 0x60));
    BYTE(smbus_read_byte_to_device(sensor, 1, &byte));
    CALL(smbus_write_word_to_device(sensor, 2, 0x0014));
    WORD(smbus_read_word_to_device(sensor, 2, &word));
    CALL(smbus_send_byte_to_device(sensor, 3));
    BYTE(smbus_recv_byte_to_device(sensor, &byte));
    CALL(pca9548_disable_channel(mux0));
    WORD(smbus_read_word_to_device(sensor, 0, &word));
}

/* 4 KiB: an address has two bytes. */
static void serial_eeprom(void) {
    static const uint8_t text[] = {0x01, 0x20, 'v', 'a', 'r', 'n', 'e', 'l'};
    static const uint8_t start[] = {0x01, 0x20};
    CALL(pca9548_enable_channel(mux0, 0x02));
    CALL(smbus_flexible_write_read_to_device(eeprom, 0, sizeof text, text, 0, NULL));
    BYTES(6, smbus_flexible_write_read_to_device(eeprom, 0, sizeof start, start, 6, bytes));
    CALL(smbus_write_word_to_device(eeprom, 0x0F, 0x5AFF));
    WORD(smbus_process_call_to_device(eeprom, 0x0F, 0x5AFF, &word));
    CALL(smbus_write_byte_to_device(eeprom, 0x01, 0x22));
    BYTE(smbus_recv_byte_to_device(eeprom, &byte));
    BYTE(smbus_recv_byte_to_device(eeprom, &byte));
    CALL(pca9548_disable_channel(mux0));
}

/* ADM1272, a hot-swap controller with PMBus. */
static void pmbus_controller(void) {
    BYTE(smbus_read_byte_to_device(controller, 0x98, &byte));
    BYTE(smbus_read_byte_to_device(controller, 0x19, &byte));
    BYTE(smbus_read_byte_to_device(controller, 0x01, &byte));
    CALL(smbus_write_byte_to_device(controller, 0x01, 0x00));
    BYTE(smbus_read_byte_to_device(controller, 0x01, &byte));
    CALL(smbus_write_byte_to_device(controller, 0x01, 0x80));
    WORD(smbus_read_word_to_device(controller, 0x88, &word));
    WORD(smbus_read_word_to_device(controller, 0x8B, &word));
    CALL(smbus_write_word_to_device(controller, 0x57, 0x0123));
    WORD(smbus_read_word_to_device(controller, 0x57, &word));
    BYTES(3, smbus_read_block_to_device(controller, 0x99, 3, bytes));
    BYTES(10, smbus_read_block_to_device(controller, 0x9A, 10, bytes));
    CALL(car2512_clear_fault(controller));
    WORD(car2512_get_status(controller, &word));
    BYTE(car2512_get_status_input(controller, &byte));
    BYTE(car2512_get_CML(controller, &byte));
}

/* QEMU's DS1338 applies the bytes of a time one after another, so that the 31st would become the 1st in a short month. */
static void clock_chip(void) {
    enum { before_midnight = 1772323198, most_seconds = 60 }; /* 2026-02-28 23:59:58 UTC */
    CALL(ds3232_set_time(before_midnight));
    time_t now = 0;
    time_t again = 0;
    int failed;
    do {
        failed = ds3232_get_time(&now) | ds3232_get_time(&again);
    } while (failed == 0 && (now != again || now < before_midnight + 3));
    printf("ds3232_get_time: %d, %s\n", failed,
           now < before_midnight + most_seconds ? "three seconds later and more" : "another time");
    CALL(smbus_write_byte_to_device(DEVICE(0, 0x68), 0x08, 0xA5));
    BYTE(smbus_read_byte_to_device(DEVICE(0, 0x68), 0x08, &byte));
}

int main(void) {
    setenv("TZ", "UTC", 1);
    setvbuf(stdout, NULL, _IOLBF, 0); /* one order with the library's own lines */
    muxes();
    temperature_sensor();
    serial_eeprom();
    pmbus_controller();
    clock_chip();
    return 0;
}
