/* SPDX-License-Identifier: Apache-2.0 */
/*
 * bus_file WAY: uses /dev/i2c-0 of a board as any program for Linux would. Linked statically: no library can be loaded
 * into it. Each way prints "good" when all went well, and exits 0 then. Works on the GPIO expander at 0x20, whose output
 * registers 2 and 3 keep what is written.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

static int open_chip(void) {
    int file = open("/dev/i2c-0", O_RDWR | O_CLOEXEC);
    return file >= 0 && ioctl(file, I2C_SLAVE, 0x20) == 0 ? file : -1;
}

static bool keeps(int file, unsigned char value) {
    unsigned char bytes[] = {2, value};
    unsigned char back = (unsigned char)~value;
    return write(file, bytes, 2) == 2 && write(file, bytes, 1) == 1 && read(file, &back, 1) == 1 &&
           back == value;
}

static bool reads_and_writes(void) {
    int file = open_chip();
    return keeps(file, 0x5A) && keeps(file, 0xA5) && close(file) == 0;
}

static bool transfers(int file) {
    unsigned char set[] = {2, 0x12, 0x34}, first[] = {2}, second[] = {3}, low, high;
    struct i2c_msg messages[] = {
        {0x20, 0, 3, set},    {0x20, 0, 1, first},        {0x20, I2C_M_RD, 1, &low},
        {0x20, 0, 1, second}, {0x20, I2C_M_RD, 1, &high},
    };
    struct i2c_rdwr_ioctl_data request = {messages, 5};
    return ioctl(file, I2C_RDWR, &request) == 5 && low == 0x12 && high == 0x34;
}

static bool fails_as_linux_does(void) {
    unsigned char byte = 0;
    int file = open_chip();
    bool good = ioctl(file, I2C_SLAVE, 0x21) == 0 && read(file, &byte, 1) == -1 && errno == ENXIO;
    good = good && ioctl(file, I2C_SLAVE, 0x80) == -1 && errno == EINVAL;
    good = good && open("/dev/i2c-200", O_RDWR) == -1 && errno == ENOENT;
    good = good && open("/dev/i2c-0", O_RDWR | O_DIRECTORY) == -1 && errno == ENOTDIR;
    return good && ioctl(STDIN_FILENO, I2C_SLAVE, 0x20) == -1 && errno == ENOTTY;
}

static bool is_bus(const struct stat *status) {
    return S_ISCHR(status->st_mode) && status->st_rdev == makedev(89, 0);
}

static bool is_found(void) {
    struct stat status;
    struct pollfd ready = {open_chip(), POLLOUT, 0};
    bool good = stat("/dev/i2c-0", &status) == 0 && is_bus(&status);
    good = good && fstat(ready.fd, &status) == 0 && is_bus(&status);
    good = good && access("/dev/i2c-0", R_OK | W_OK) == 0 && access("/dev/i2c-200", F_OK) == -1;
    good = good && chdir("/dev") == 0 && lstat("./i2c-0", &status) == 0 && is_bus(&status);
    return good && poll(&ready, 1, 0) == 1;
}

static bool is_shared(void) {
    int file = open_chip(), copy = dup(file), other = fcntl(file, F_DUPFD_CLOEXEC, 0), status = 1;
    bool good = keeps(copy, 1) && keeps(other, 2) && close(file) == 0 && keeps(copy, 3);
    pid_t child = fork();
    if (child == 0) {
        _exit(keeps(copy, 4) ? 0 : 1);
    }
    waitpid(child, &status, 0);
    return good && status == 0 && fcntl(other, F_GETFD) == FD_CLOEXEC;
}

static bool executes(char *self) {
    char number[16];
    int file = open("/dev/i2c-0", O_RDWR);
    ioctl(file, I2C_SLAVE, 0x20);
    snprintf(number, sizeof number, "%d", file);
    execl(self, self, "inherited", number, NULL);
    return false;
}

static bool opens_many(void) {
    for (int i = 0; i < 2000; ++i) {
        int file = open_chip();
        if (file < 0 || close(file) != 0) {
            return false;
        }
    }
    return true;
}

static void say_ready(void) {
    printf("ready %d\n", (int)getpid());
    fflush(stdout);
}

static bool repeats(void) {
    int file = open_chip();
    say_ready();
    while (transfers(file)) {
    }
    return false;
}

/* Until the end of its input the bus stays open. */
static bool waits(void) {
    char line[16];
    int file = open_chip(), count = 0;
    say_ready();
    while (read(STDIN_FILENO, line, sizeof line) > 0) {
    }
    while (count < 20 && transfers(file)) {
        ++count;
    }
    return count == 20 && close(file) == 0;
}

int main(int argc, char **argv) {
    const char *way = argc > 1 ? argv[1] : "";
    bool good = false;
    if (strcmp(way, "read-write") == 0) {
        good = reads_and_writes();
    } else if (strcmp(way, "transfer") == 0) {
        good = transfers(open("/dev/i2c-0", O_RDWR));
    } else if (strcmp(way, "fail") == 0) {
        good = fails_as_linux_does();
    } else if (strcmp(way, "found") == 0) {
        good = is_found();
    } else if (strcmp(way, "share") == 0) {
        good = is_shared();
    } else if (strcmp(way, "execute") == 0) {
        good = executes(argv[0]);
    } else if (strcmp(way, "inherited") == 0 && argc > 2) {
        good = keeps(atoi(argv[2]), 0x77);
    } else if (strcmp(way, "many") == 0) {
        good = opens_many();
    } else if (strcmp(way, "repeat") == 0) {
        good = repeats();
    } else if (strcmp(way, "wait") == 0) {
        good = waits();
    }
    puts(good ? "good" : "bad");
    return good ? 0 : 1;
}
