/* SPDX-License-Identifier: Apache-2.0 */
/* tell_time PORT...: runs in a virtual machine whose time QEMU moves forward while its processor is idle (-icount
 * shift=0,sleep=off). Answers each newline that comes from a port with the time since boot in nanoseconds, and keeps the
 * processor busy while a USB device has not answered a control request: otherwise the request's time-out would pass
 * before the answer of the device, which does not live in the machine's time. Goes to the background when it is ready. */
#define _GNU_SOURCE

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

/* Linux, Documentation/usb/usbmon.rst: the binary interface. */
struct usb_event {
    uint64_t request;
    uint8_t type; /* 'S'ubmission, 'C'ompletion, 'E'rror of a submission */
    uint8_t transfer;
    uint8_t others[54];
};
struct next_event {
    struct usb_event *event;
    void *data;
    size_t data_size;
};
#define MON_IOCX_GETX _IOW(0x92, 10, struct next_event)
enum { control_transfer = 2, most_ports = 8 };

static int opened(const char *path, int flags) {
    const int file = open(path, flags | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        fprintf(stderr, "tell_time: %s: %s\n", path, strerror(errno));
    }
    return file;
}

/* Adds the control requests that were begun since, and subtracts those that have ended. */
static unsigned int count_requests(int monitor, unsigned int under_way) {
    struct usb_event event;
    struct next_event next = {&event, NULL, 0};
    while (ioctl(monitor, MON_IOCX_GETX, &next) == 0) {
        if (event.transfer == control_transfer) {
            if (event.type == 'S') {
                ++under_way;
            } else if (under_way > 0) { /* it may have begun before this program */
                --under_way;
            }
        }
    }
    return under_way;
}

static void answer(int port) {
    char question[16];
    if (read(port, question, sizeof question) <= 0) {
        return;
    }
    struct timespec now;
    clock_gettime(CLOCK_BOOTTIME, &now);
    char line[32];
    const int length = snprintf(line, sizeof line, "%lld%09ld\n", (long long)now.tv_sec, now.tv_nsec);
    if (write(port, line, (size_t)length) != length) {
        fprintf(stderr, "tell_time: a time was lost: %s\n", strerror(errno));
    }
}

static void serve(struct pollfd *files, nfds_t count) {
    unsigned int under_way = 0;
    for (;;) {
        poll(files, count, under_way > 0 ? 0 : -1);
        under_way = count_requests(files[0].fd, under_way);
        for (nfds_t i = 1; i < count; ++i) {
            if ((files[i].revents & POLLIN) != 0) {
                answer(files[i].fd);
            }
        }
    }
}

int main(int argc, char *argv[]) {
    if (argc < 2 || argc - 1 > most_ports) {
        fprintf(stderr, "usage: tell_time PORT...\n");
        return 2;
    }
    struct pollfd files[1 + most_ports] = {{.fd = opened("/dev/usbmon0", O_RDONLY), .events = POLLIN}};
    int failed = files[0].fd < 0;
    for (int i = 1; i < argc; ++i) {
        files[i] = (struct pollfd){.fd = opened(argv[i], O_RDWR), .events = POLLIN};
        failed |= files[i].fd < 0;
    }
    const struct sched_param none = {0};
    if (failed || daemon(0, 1) != 0 || sched_setscheduler(0, SCHED_IDLE, &none) != 0) {
        return 1;
    }
    serve(files, (nfds_t)argc);
}
