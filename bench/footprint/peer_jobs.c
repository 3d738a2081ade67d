/* SPDX-License-Identifier: Apache-2.0 */
/* Jobs that all peers do in the same way: libi2c, inih, and the C library. */
#include <arpa/inet.h>
#include <fcntl.h>
#include <ini.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <linux/i2c-dev.h>

#include <i2c/smbus.h>

#include "jobs.h"

static int find_limit(void *found, const char *section, const char *name, const char *value) {
    if (strcmp(section, "fan") == 0 && strcmp(name, "limit") == 0) {
        *(int *)found = (int)strtol(value, NULL, 10);
    }
    return 1;
}

int limit_in_ini(const char *path) {
    int limit = -1;
    return ini_parse(path, find_limit, &limit) == 0 ? limit : -1;
}

int take_and_release_lock(const char *path) {
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const int failed = flock(file, LOCK_EX) != 0 || flock(file, LOCK_UN) != 0;
    (void)close(file);
    return failed ? -1 : 0;
}

int post_record(const char *path, int speed) {
    const struct {
        uint8_t header[40];
        uint32_t payload_len;
        int speed;
    } record = {{1}, sizeof record.speed, speed};
    const int queue = open(path, O_RDWR | O_CLOEXEC);
    const int failed = flock(queue, LOCK_EX) != 0 || write(queue, &record, sizeof record) != sizeof record ||
                       flock(queue, LOCK_UN) != 0;
    (void)close(queue);
    return failed ? -1 : 0;
}

int bring_up_chips(void) {
    const int bus = open("/dev/i2c-0", O_RDWR | O_CLOEXEC);
    const int failed = ioctl(bus, I2C_SLAVE, 0x58L) != 0 || i2c_smbus_read_word_data(bus, 0x8B) < 0 ||
                       ioctl(bus, I2C_SLAVE, 0x20L) != 0 || i2c_smbus_write_byte_data(bus, 0x06, 0xFC) != 0;
    (void)close(bus);
    return failed ? -1 : 0;
}

int log_to_system_log(int speed) {
    syslog(LOG_INFO, "fan 2 at %d rpm", speed);
    return 0;
}

int fetch_file(const char *path, const char *host) {
    const struct sockaddr_in sender = {
        .sin_family = AF_INET, .sin_port = htons(7001), .sin_addr.s_addr = inet_addr(host)};
    static char bytes[16384];
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const int from = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ssize_t n = connect(from, (const struct sockaddr *)&sender, sizeof sender);
    while (n >= 0 && (n = recv(from, bytes, sizeof bytes, 0)) > 0) {
        n = write(file, bytes, (size_t)n);
    }
    (void)close(from);
    (void)close(file);
    return n == 0 ? 0 : -1;
}
