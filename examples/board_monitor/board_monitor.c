/* SPDX-License-Identifier: Apache-2.0 */
/*
 * board_monitor brings a board up and watches it: it takes the bus, sets pins and clock, and then reads the
 * power supplies behind a multiplexer round after round, whatever stops answering in between.
 */
#include <errno.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "varnel/varnel.h"

/* Where things are on this board: bus in bits 0-7, slave address in bits 8-15. */
#define DEVICE(bus, slave) ((uint32_t)(slave) << 8 | (bus))

static const uint32_t selector = DEVICE(0, 0x74);
static const uint32_t supply_mux = DEVICE(0, 0x70);
static const uint32_t supply = DEVICE(0, 0x58); /* the same address behind each channel of the mux */
static const uint32_t status_expander = DEVICE(0, 0x20);

enum { SUPPLIES = 2 };

/* Ports of the status expander. */
enum { LED_OK = 0, LED_FAULT = 1, PRESENT_0 = 8, PRESENT_1 = 9 };

static const uint8_t presence[SUPPLIES] = {PRESENT_0, PRESENT_1}; /* low when the supply is plugged in */

static uint8_t least_fan_percent = 60;
static volatile sig_atomic_t stopped;

static void stop(int signal_number) {
    (void)signal_number;
    stopped = 1;
}

/* --- Bring-up --- */

static bool take_bus(void) {
    uint8_t control;
    if (pca9541_take_bus(selector) != 0 || pca9541_read_ctrl(selector, &control) != 0) {
        return false;
    }
    const bool ours = (control & 1) == (control >> 1 & 1); /* MYBUS equals NMYBUS */
    const bool on = (control >> 2 & 1) != (control >> 3 & 1);
    return ours && on;
}

static bool set_up_pins(void) {
    static const uint8_t leds[] = {LED_OK, LED_FAULT};
    return pca9555_init_port_low(status_expander, leds, 2) == 0 &&
           pca9555_init_port_output(status_expander, leds, 2) == 0;
}

static void bring_up(void) {
    printf("bus      %s\n", take_bus() ? "taken" : "NOT TAKEN");
    printf("pins     %s\n", set_up_pins() ? "set up" : "NOT SET UP");
    printf("clock    %s\n", ds3232_set_time(time(NULL)) == 0 ? "set" : "NOT SET");
}

/* --- One round --- */

struct supply_report {
    bool present;
    bool answers;
    uint16_t status;
    uint16_t output_volt;
    uint16_t reading[CAR2512_READINGS];
    uint8_t fan_percent;
};

static bool read_supply(int number, struct supply_report *report) {
    const uint8_t channel = (uint8_t)(1u << number);
    return pca9548_enable_channel(supply_mux, channel) == 0 &&
           car2512_set_fan_duty_cycle_upto_percent(supply, least_fan_percent) == 0 &&
           car2512_get_status(supply, &report->status) == 0 &&
           car2512_get_output_volt(supply, &report->output_volt) == 0 &&
           car2512_get_fan_duty_cycle(supply, &report->fan_percent) == 0 &&
           car2512_getall(supply, report->reading) == 0;
}

static bool look_at_supply(int number, struct supply_report *report) {
    uint8_t absent = 1;
    memset(report, 0, sizeof *report);
    report->present = pca9555_get_port_data(status_expander, presence[number], &absent) == 0 && absent == 0;
    report->answers = report->present && read_supply(number, report);
    return report->answers && report->status == 0;
}

static void print_supply(int number, const struct supply_report *report) {
    printf("psu%d     ", number);
    if (!report->present) {
        printf("not plugged in\n");
        return;
    }
    if (!report->answers) {
        printf("DOES NOT ANSWER\n");
        return;
    }
    printf("%6.2f V out  %6.1f W in  %5.1f V in  %5.1f C  fan %3d %% %5d rpm  %s",
           report->output_volt / 100.0, report->reading[CAR2512_INPUT_POWER] / 10.0,
           report->reading[CAR2512_INPUT_VOLT] / 10.0, (int16_t)report->reading[CAR2512_TEMPERATURE] / 10.0,
           report->fan_percent, report->reading[CAR2512_FAN_SPEED], report->status == 0 ? "ok" : "TROUBLE");
    if (report->status != 0) {
        printf(" (status 0x%04x)", report->status);
    }
    putchar('\n');
}

static void print_time(void) {
    time_t clock;
    char text[32];
    if (ds3232_get_time(&clock) == 0 &&
        strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime(&clock)) > 0) {
        /* In October the driver reads April of the next year: the difference makes that plain. */
        printf("clock    %s  (%+.0f s from system time)\n", text, difftime(clock, time(NULL)));
    } else {
        printf("clock    DOES NOT ANSWER\n");
    }
}

static void print_pins(void) {
    uint8_t levels[2];
    if (pca9555_get_bank0_data(status_expander, &levels[0]) == 0 &&
        pca9555_get_bank1_data(status_expander, &levels[1]) == 0) {
        printf("pins     15-8 0x%02x  7-0 0x%02x  led-ok %s  led-fault %s\n", levels[1], levels[0],
               (levels[0] >> LED_OK & 1) != 0 ? "on" : "off",
               (levels[0] >> LED_FAULT & 1) != 0 ? "on" : "off");
    } else {
        printf("pins     DO NOT ANSWER\n");
    }
}

static bool show_lights(bool all_well) {
    const uint8_t on = all_well ? LED_OK : LED_FAULT;
    const uint8_t off = all_well ? LED_FAULT : LED_OK;
    return pca9555_set_port_high(status_expander, on) == 0 && pca9555_set_port_low(status_expander, off) == 0;
}

static void watch_once(void) {
    struct supply_report reports[SUPPLIES];
    bool all_well = true;
    for (int i = 0; i < SUPPLIES; i++) {
        all_well = look_at_supply(i, &reports[i]) && all_well;
    }
    pca9548_disable_channel(supply_mux);
    if (!show_lights(all_well)) {
        printf("lights   DO NOT ANSWER\n");
    }
    print_time();
    for (int i = 0; i < SUPPLIES; i++) {
        print_supply(i, &reports[i]);
    }
    print_pins();
}

/* --- The daemon --- */

/* Ends with 2 and one line for what is not a whole number in range. */
static long number_argument(const char *text, long least, long most) {
    char *end;
    errno = 0;
    const long number = strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || number < least || number > most) {
        fprintf(stderr, "board_monitor: not a number from %ld to %ld: %s\n", least, most, text);
        exit(2);
    }
    return number;
}

int main(int argc, char *argv[]) {
    long rounds = 0; /* 0: until a signal */
    long seconds = 5;
    opterr = 0;
    for (int option; (option = getopt(argc, argv, "n:i:f:")) != -1;) {
        switch (option) {
        case 'n':
            rounds = number_argument(optarg, 1, 1000000);
            break;
        case 'i':
            seconds = number_argument(optarg, 0, 3600);
            break;
        case 'f':
            least_fan_percent = (uint8_t)number_argument(optarg, 0, 100);
            break;
        default:
            fprintf(
                stderr,
                "board_monitor: bad option -%c; usage: board_monitor [-n ROUNDS] [-i SECONDS] [-f PERCENT]\n",
                optopt);
            return 2;
        }
    }
    if (optind != argc) {
        fprintf(stderr, "board_monitor: unexpected argument: %s\n", argv[optind]);
        return 2;
    }

    const struct sigaction on_signal = {.sa_handler = stop};
    sigaction(SIGTERM, &on_signal, NULL);
    sigaction(SIGINT, &on_signal, NULL);
    setvbuf(stdout, NULL, _IOLBF, 0);

    bring_up();
    for (long round = 1; !stopped; round++) {
        printf("\n");
        watch_once();
        if (round == rounds) {
            break;
        }
        nanosleep(&(struct timespec){.tv_sec = seconds}, NULL);
    }
    return 0;
}
