/* SPDX-License-Identifier: Apache-2.0 */
/*
 * board_work WORK COUNT [PROGRAM ARGS...]: does the same work COUNT times, and prints the nanoseconds of one.
 *
 *   transfer   read a register of the chip at 0x20 through an open /dev/i2c-0
 *   primitive  the same by the primitive that the library imports
 *   open       open and close a file that is not the board's
 *   read       read a byte of a file that is not the board's
 *   start      start PROGRAM, with its output to /dev/null, and wait until it has ended
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <spawn.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { chip = 0x20, output_register = 2, power_on_value = 0xFF };

extern char **environ;
static int (*write_read)(uint8_t bus, uint8_t slave, const uint8_t *written, uint8_t *read,
                         uint16_t write_length, uint16_t read_length);
static int file;
static char **program;
static posix_spawn_file_actions_t to_nowhere;

static bool transfer(void) {
    unsigned char reg = output_register, value = 0;
    struct i2c_msg messages[] = {{chip, 0, 1, &reg}, {chip, I2C_M_RD, 1, &value}};
    struct i2c_rdwr_ioctl_data request = {messages, 2};
    return ioctl(file, I2C_RDWR, &request) == 2 && value == power_on_value;
}

static bool primitive(void) {
    unsigned char reg = output_register, value = 0;
    return write_read(0, chip, &reg, &value, 1, 1) == 0 && value == power_on_value;
}

static bool opens(void) {
    const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return other >= 0 && close(other) == 0;
}

static bool reads(void) {
    char byte;
    return read(file, &byte, 1) == 1;
}

static bool starts(void) {
    pid_t id = 0;
    int status = 1;
    return posix_spawnp(&id, program[0], &to_nowhere, NULL, program, environ) == 0 &&
           waitpid(id, &status, 0) == id && status == 0;
}

static const struct work {
    const char *name;
    const char *file;
    bool (*once)(void);
} all_work[] = {{"transfer", "/dev/i2c-0", transfer},
                {"primitive", "/dev/null", primitive},
                {"open", "/dev/null", opens},
                {"read", "/dev/zero", reads},
                {"start", "/dev/null", starts}};

static const struct work *find(const char *name) {
    for (size_t i = 0; i < sizeof all_work / sizeof *all_work; ++i) {
        if (strcmp(all_work[i].name, name) == 0) {
            return &all_work[i];
        }
    }
    return NULL;
}

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return 1e9 * (double)time.tv_sec + (double)time.tv_nsec;
}

int main(int argc, char **argv) {
    const struct work *work = argc > 2 ? find(argv[1]) : NULL;
    const int count = argc > 2 ? atoi(argv[2]) : 0;
    if (work == NULL || (file = open(work->file, O_RDWR | O_CLOEXEC)) < 0) {
        return 1;
    }
    *(void **)&write_read = dlsym(RTLD_DEFAULT, "i2c_writeread_on_bus"); /* the idiom of dlsym(3) */
    program = argv + 3;
    posix_spawn_file_actions_init(&to_nowhere);
    posix_spawn_file_actions_addopen(&to_nowhere, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const double start = now();
    for (int i = 0; i < count; ++i) {
        if (!work->once()) {
            perror(work->name);
            return 1;
        }
    }
    printf("%.1f\n", (now() - start) / count);
    return 0;
}
