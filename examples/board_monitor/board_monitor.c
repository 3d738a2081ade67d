/* SPDX-License-Identifier: Apache-2.0 */
/*
 * board_monitor brings up a board and monitors it: it takes the bus and sets pins and clock. Then it reads
 * the power supplies behind a multiplexer again and again, also when chips stop answering.
 */
#include <errno.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include "../demo_board.h"
#include "events.h"
#include "settings.h"
#include "varnel/varnel.h"

static struct settings settings;
static volatile sig_atomic_t stopped;

static void stop(int signal_number) {
    (void)signal_number;
    stopped = 1;
}

/* --- The lock that all daemons on this bus share --- */

/* The lock that the settings name, or -1 without one. */
static int open_bus_lock(void) {
    if (settings.bus_lock[0] == '\0') {
        return -1;
    }
    const int lock = get_sem_lock(settings.bus_lock, 1);
    if (lock < 0) {
        fprintf(stderr, "board_monitor: %s: %s\n", settings.bus_lock, strerror(errno));
        exit(1);
    }
    return lock;
}

/* Waits until the bus may be used; false when it may not: the daemon has been told to stop. A lock that
 * cannot be had any more, because its set was removed, ends the daemon: what starts it again gets the new
 * set. */
static bool lock_bus(int lock) {
    while (lock >= 0 && wait_sem_lock(lock, 0) != 0) {
        if (errno != EINTR) {
            fprintf(stderr, "board_monitor: %s: %s\n", settings.bus_lock, strerror(errno));
            exit(1);
        }
        if (stopped) {
            return false;
        }
    }
    return true;
}

/* Only after lock_bus() has returned true: releasing a lock that is not held takes it away from its holder.
 */
static void unlock_bus(int lock) {
    if (lock >= 0 && release_sem_lock(lock, 0) != 0) {
        fprintf(stderr, "board_monitor: %s: %s\n", settings.bus_lock, strerror(errno));
        exit(1);
    }
}

/* --- Bring-up --- */

static bool take_bus(void) {
    uint8_t control;
    if (pca9541_take_bus(selector) != 0 || pca9541_read_ctrl(selector, &control) != 0) {
        return false;
    }
    const bool ours = !(control & PCA9541_CONTROL_MYBUS) == !(control & PCA9541_CONTROL_NMYBUS);
    const bool on = !(control & PCA9541_CONTROL_BUSON) != !(control & PCA9541_CONTROL_NBUSON);
    return ours && on;
}

static const uint8_t leds[] = {LED_OK, LED_FAULT};

static bool set_up_pins(void) {
    return pca9555_init_port_low(status_expander, leds, 2) == 0 &&
           pca9555_init_port_output(status_expander, leds, 2) == 0;
}

static void bring_up(void) {
    printf("bus      %s\n", take_bus() ? "taken" : "NOT TAKEN");
    printf("pins     %s\n", set_up_pins() ? "set up" : "NOT SET UP");
    printf("clock    %s\n", ds3232_set_time(time(NULL)) == 0 ? "set" : "NOT SET");
}

/* --- Reading --- */

enum condition { UNKNOWN, WELL, ABSENT, SILENT, TROUBLED, HOT };

struct supply_report {
    enum condition condition;
    uint16_t status;
    uint16_t output_volt;
    uint16_t reading[CAR2512_READINGS];
    uint8_t fan_percent;
};

static double celsius(const struct supply_report *report) {
    return (int16_t)report->reading[CAR2512_TEMPERATURE] / 10.0;
}

static bool read_supply(int number, struct supply_report *report) {
    const uint8_t fan = (uint8_t)settings.least_fan_percent;
    return pca9548_enable_channel(supply_mux, channel_of(number)) == 0 &&
           car2512_set_fan_duty_cycle_upto_percent(supply, fan) == 0 &&
           car2512_get_status(supply, &report->status) == 0 &&
           car2512_get_output_volt(supply, &report->output_volt) == 0 &&
           car2512_get_fan_duty_cycle(supply, &report->fan_percent) == 0 &&
           car2512_getall(supply, report->reading) == 0;
}

static enum condition look_at_supply(int number, struct supply_report *report) {
    uint8_t absent = 1;
    if (pca9555_get_port_data(status_expander, (uint8_t)(PRESENCE + number), &absent) != 0 || absent != 0) {
        return ABSENT;
    }
    if (!read_supply(number, report)) {
        return SILENT;
    }
    if (report->status != 0) {
        return TROUBLED;
    }
    return celsius(report) >= settings.hot_celsius ? HOT : WELL;
}

/* --- Reporting --- */

static void tell_change(int number, const struct supply_report *report) {
    char text[EVENT_TEXT_MAX];
    switch (report->condition) {
    case ABSENT:
        tell(&settings, LOG_NOTICE, number, "is not plugged in");
        break;
    case SILENT:
        tell(&settings, LOG_ERR, number, "does not answer");
        break;
    case TROUBLED:
        snprintf(text, sizeof text, "is in trouble: status 0x%04x", report->status);
        tell(&settings, LOG_ERR, number, text);
        break;
    case HOT:
        snprintf(text, sizeof text, "is hot: %.1f C", celsius(report));
        tell(&settings, LOG_WARNING, number, text);
        break;
    default:
        tell(&settings, LOG_INFO, number, "is well");
    }
}

static void print_supply(int number, const struct supply_report *report) {
    printf("psu%d     ", number);
    if (report->condition == ABSENT || report->condition == SILENT) {
        printf("%s\n", report->condition == ABSENT ? "not plugged in" : "DOES NOT ANSWER");
        return;
    }
    printf("%6.2f V out  %6.1f W in  %5.1f V in  %5.1f C  fan %3d %% %5d rpm  ", report->output_volt / 100.0,
           report->reading[CAR2512_INPUT_POWER] / 10.0, report->reading[CAR2512_INPUT_VOLT] / 10.0,
           celsius(report), report->fan_percent, report->reading[CAR2512_FAN_SPEED]);
    if (report->condition == TROUBLED) {
        printf("TROUBLE (status 0x%04x)\n", report->status);
    } else {
        printf("%s\n", report->condition == HOT ? "HOT" : "ok");
    }
}

static void print_time(void) {
    time_t clock;
    char text[32];
    if (ds3232_get_time(&clock) == 0 &&
        strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime(&clock)) > 0) {
        /* The difference shows a wrong reading, as in October (ds3232.h). */
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

static bool lights_are(uint8_t on, uint8_t off) {
    uint8_t levels = 0;
    return pca9555_get_bank0_data(status_expander, &levels) == 0 && (levels >> on & 1) != 0 &&
           (levels >> off & 1) == 0;
}

/* The pins may have become inputs again since the bring-up, by a brown-out. Tries again, as a transfer may fail or bits be
 * disturbed. */
static bool show_lights(bool all_well) {
    const uint8_t on = all_well ? LED_OK : LED_FAULT;
    const uint8_t off = all_well ? LED_FAULT : LED_OK;
    for (int tries = 0; tries < 3; tries++) {
        if (pca9555_set_port_high(status_expander, on) == 0 &&
            pca9555_set_port_low(status_expander, off) == 0 &&
            pca9555_init_port_output(status_expander, leds, 2) == 0 && lights_are(on, off)) {
            return true;
        }
    }
    return false;
}

/* --- One round --- */

static void watch_once(enum condition before[SUPPLIES]) {
    struct supply_report reports[SUPPLIES];
    memset(reports, 0, sizeof reports);
    bool all_well = true;
    for (int i = 0; i < SUPPLIES; i++) {
        reports[i].condition = look_at_supply(i, &reports[i]);
        all_well = all_well && reports[i].condition == WELL;
    }
    if (!disconnect_supplies()) {
        printf("mux      DOES NOT ANSWER\n");
    }
    if (!show_lights(all_well)) {
        printf("lights   DO NOT ANSWER\n");
    }
    print_time();
    for (int i = 0; i < SUPPLIES; i++) {
        print_supply(i, &reports[i]);
    }
    print_pins();
    for (int i = 0; i < SUPPLIES; i++) {
        if (reports[i].condition != before[i]) {
            tell_change(i, &reports[i]);
            before[i] = reports[i].condition;
        }
    }
}

/* --- The daemon --- */

/* Exits with 2 and one line when the text is not a whole number in range. */
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

struct arguments {
    const char *settings_file; /* "": none */
    long rounds;               /* 0: until a signal */
    long seconds;              /* from one round to the next */
};

static struct arguments read_arguments(int argc, char *argv[]) {
    struct arguments arguments = {"", 0, 5};
    opterr = 0;
    for (int option; (option = getopt(argc, argv, "c:n:i:")) != -1;) {
        switch (option) {
        case 'c':
            arguments.settings_file = optarg;
            break;
        case 'n':
            arguments.rounds = number_argument(optarg, 1, 1000000);
            break;
        case 'i':
            arguments.seconds = number_argument(optarg, 0, 3600);
            break;
        default:
            fprintf(
                stderr,
                "board_monitor: bad option -%c; usage: board_monitor [-c FILE] [-n ROUNDS] [-i SECONDS]\n",
                optopt);
            exit(2);
        }
    }
    if (optind != argc) {
        fprintf(stderr, "board_monitor: unexpected argument: %s\n", argv[optind]);
        exit(2);
    }
    return arguments;
}

/* Without SA_RESTART: the signals interrupt a wait for the lock. */
static void stop_on_signals(void) {
    const struct sigaction on_signal = {.sa_handler = stop};
    if (sigaction(SIGTERM, &on_signal, NULL) != 0 || sigaction(SIGINT, &on_signal, NULL) != 0) {
        perror("board_monitor: sigaction");
        exit(1);
    }
}

static void bring_up_locked(int bus_lock) {
    if (lock_bus(bus_lock)) {
        bring_up();
        unlock_bus(bus_lock);
    }
}

/* Ends after so many rounds, 0 for no end, or on a signal. */
static void watch(const struct arguments *arguments, int bus_lock) {
    enum condition conditions[SUPPLIES] = {UNKNOWN};
    for (long round = 1; !stopped; round++) {
        printf("\n");
        if (!lock_bus(bus_lock)) {
            return;
        }
        watch_once(conditions);
        unlock_bus(bus_lock);
        if (round == arguments->rounds) {
            return;
        }
        nanosleep(&(struct timespec){.tv_sec = arguments->seconds}, NULL); /* a signal ends it early */
    }
}

int main(int argc, char *argv[]) {
    const struct arguments arguments = read_arguments(argc, argv);
    if (*arguments.settings_file != '\0' && access(arguments.settings_file, R_OK) != 0) {
        fprintf(stderr, "board_monitor: %s: %s\n", arguments.settings_file, strerror(errno));
        return 2;
    }
    read_settings(arguments.settings_file, &settings);
    const int bus_lock = open_bus_lock();
    stop_on_signals();
    setvbuf(stdout, NULL, _IOLBF, 0);

    bring_up_locked(bus_lock);
    watch(&arguments, bus_lock);
    return ferror(stdout) != 0;
}
