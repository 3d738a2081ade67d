/* SPDX-License-Identifier: Apache-2.0 */
/*
 * pin_file WAY: uses /dev/gpiochip0 of a board with both versions of the requests of linux/gpio.h. Linked statically: no
 * library can be loaded into it. Each way prints "good" when all went well, and exits 0 then; else the line of the first
 * expectation that did not hold. The chip has 16 lines, of which line 3 is named "lid"; lines 8 to 15 are driven high.
 * Ways with events print "ready" and then expect line 8 to become low and high again.
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/gpio.h>
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

/* The supervisor takes the structures as they are on 64-bit machines; those of 32-bit ARM are the same. */
_Static_assert(sizeof(struct gpio_v2_line_info) == 256 && sizeof(struct gpio_v2_line_config) == 272, "v2");
_Static_assert(sizeof(struct gpio_v2_line_request) == 592 && sizeof(struct gpio_v2_line_values) == 16, "v2");
_Static_assert(sizeof(struct gpio_v2_line_event) == 48, "v2");
_Static_assert(sizeof(struct gpio_v2_line_info_changed) == 288, "v2");
_Static_assert(sizeof(struct gpiochip_info) == 68 && sizeof(struct gpioline_info) == 72, "v1");
_Static_assert(sizeof(struct gpiohandle_request) == 364 && sizeof(struct gpiohandle_config) == 84, "v1");
_Static_assert(sizeof(struct gpioevent_request) == 48 && sizeof(struct gpioevent_data) == 16, "v1");

static void expect(bool holds, int line) {
    if (!holds) {
        printf("bad: line %d, errno %s\n", line, strerrorname_np(errno));
        exit(1);
    }
}
#define EXPECT(holds) expect(holds, __LINE__)
/* A call that fails with this errno. */
#define FAILS(error, call) EXPECT((call) == -1 && errno == (error))

static int chip(void) {
    int file = open("/dev/gpiochip0", O_RDWR | O_CLOEXEC);
    EXPECT(file >= 0);
    return file;
}

static struct gpio_v2_line_request lines_v2(unsigned first, unsigned count, unsigned long long flags) {
    struct gpio_v2_line_request request;
    memset(&request, 0, sizeof request);
    for (unsigned i = 0; i < count; ++i) {
        request.offsets[i] = first + i;
    }
    request.num_lines = count;
    request.config.flags = flags;
    strcpy(request.consumer, "pin_file");
    return request;
}

static int request_v2(struct gpio_v2_line_request request) {
    int file = chip();
    int result = ioctl(file, GPIO_V2_GET_LINE_IOCTL, &request);
    int error = errno;
    close(file);
    errno = error;
    return result == 0 ? request.fd : -1;
}

static struct gpiohandle_request lines_v1(unsigned first, unsigned count, unsigned flags) {
    struct gpiohandle_request request;
    memset(&request, 0, sizeof request);
    for (unsigned i = 0; i < count; ++i) {
        request.lineoffsets[i] = first + i;
    }
    request.lines = count;
    request.flags = flags;
    strcpy(request.consumer_label, "pin_file");
    return request;
}

static int request_v1(struct gpiohandle_request request) {
    int file = chip();
    int result = ioctl(file, GPIO_GET_LINEHANDLE_IOCTL, &request);
    int error = errno;
    close(file);
    errno = error;
    return result == 0 ? request.fd : -1;
}

static struct gpio_v2_line_info info_of(unsigned line) {
    struct gpio_v2_line_info info;
    int file = chip();
    memset(&info, 0, sizeof info);
    info.offset = line;
    EXPECT(ioctl(file, GPIO_V2_GET_LINEINFO_IOCTL, &info) == 0);
    close(file);
    return info;
}

static void is_found(void) {
    struct stat status;
    struct dirent *entry;
    int found = 0;
    int file = chip();
    EXPECT(stat("/dev/gpiochip0", &status) == 0 && S_ISCHR(status.st_mode) && minor(status.st_rdev) == 0);
    EXPECT(fstat(file, &status) == 0 && S_ISCHR(status.st_mode) && major(status.st_rdev) == 254);
    FAILS(ENOENT, access("/dev/gpiochip1", F_OK));
    FAILS(ENOENT, open("/dev/gpiochip1", O_RDWR));
    FAILS(ENOTDIR, open("/dev/gpiochip0", O_RDWR | O_DIRECTORY));
    DIR *folder = opendir("/dev");
    while ((entry = readdir(folder)) != NULL) {
        found += strcmp(entry->d_name, "gpiochip0") == 0 || strcmp(entry->d_name, "i2c-0") == 0 ||
                 strcmp(entry->d_name, "null") == 0;
        EXPECT(strncmp(entry->d_name, "gpiochip", 8) != 0 || strcmp(entry->d_name, "gpiochip0") == 0);
    }
    EXPECT(found == 3);
    rewinddir(folder);
    EXPECT(readdir(folder) != NULL && closedir(folder) == 0);
}

static void tells_about_itself(void) {
    struct gpiochip_info about;
    struct gpioline_info old;
    int file = chip();
    EXPECT(ioctl(file, GPIO_GET_CHIPINFO_IOCTL, &about) == 0 && about.lines == 16);
    EXPECT(strcmp(about.name, "gpiochip0") == 0 && strcmp(about.label, "0-0020") == 0);
    memset(&old, 0, sizeof old);
    old.line_offset = 3;
    EXPECT(ioctl(file, GPIO_GET_LINEINFO_IOCTL, &old) == 0 && old.flags == 0);
    EXPECT(old.line_offset == 3 && strcmp(old.name, "lid") == 0 && old.consumer[0] == '\0');
    struct gpio_v2_line_info info = info_of(3);
    EXPECT(info.flags == GPIO_V2_LINE_FLAG_INPUT && info.num_attrs == 0 && strcmp(info.name, "lid") == 0);
    EXPECT(info_of(4).name[0] == '\0' && info_of(15).offset == 15);
}

static void fails_as_linux_does(void) {
    struct gpio_v2_line_info info;
    struct gpioline_info old;
    struct gpio_v2_line_values values;
    unsigned line = 16;
    int file = chip();
    FAILS(EINVAL, ioctl(file, _IO(0xB4, 0x7F), 0));
    FAILS(EINVAL, ioctl(file, GPIO_V2_LINE_GET_VALUES_IOCTL, &values));
    FAILS(ENOTTY, ioctl(file, TIOCGWINSZ, &info));
    FAILS(ENOTTY, ioctl(open("/dev/null", O_RDWR), GPIO_GET_CHIPINFO_IOCTL, &info));
    FAILS(EFAULT, ioctl(file, GPIO_GET_CHIPINFO_IOCTL, 8L));
    FAILS(EFAULT, ioctl(file, GPIO_V2_GET_LINEINFO_IOCTL, 8L));
    FAILS(EFAULT, ioctl(file, GPIO_GET_LINEHANDLE_IOCTL, 8L));
    memset(&info, 0, sizeof info);
    memset(&old, 0, sizeof old);
    info.offset = old.line_offset = 16;
    FAILS(EINVAL, ioctl(file, GPIO_V2_GET_LINEINFO_IOCTL, &info));
    FAILS(EINVAL, ioctl(file, GPIO_GET_LINEINFO_IOCTL, &old));
    FAILS(EINVAL, ioctl(file, GPIO_GET_LINEINFO_UNWATCH_IOCTL, &line));
    info.offset = 0;
    info.padding[3] = 1;
    FAILS(EINVAL, ioctl(file, GPIO_V2_GET_LINEINFO_IOCTL, &info));
}

static void requests_lines_v2(void) {
    struct gpio_v2_line_values values = {0, 3};
    int lines = request_v2(lines_v2(8, 2, GPIO_V2_LINE_FLAG_INPUT));
    EXPECT(lines >= 0 && fcntl(lines, F_GETFD) == FD_CLOEXEC);
    EXPECT(ioctl(lines, GPIO_V2_LINE_GET_VALUES_IOCTL, &values) == 0 && values.bits == 3 && values.mask == 3);
    FAILS(EPERM, ioctl(lines, GPIO_V2_LINE_SET_VALUES_IOCTL, &values));
    values.mask = 4;
    FAILS(EINVAL, ioctl(lines, GPIO_V2_LINE_GET_VALUES_IOCTL, &values));
    FAILS(EINVAL, ioctl(lines, GPIO_GET_CHIPINFO_IOCTL, &values));
    struct gpio_v2_line_info info = info_of(8);
    EXPECT(info.flags == (GPIO_V2_LINE_FLAG_USED | GPIO_V2_LINE_FLAG_INPUT));
    EXPECT(strcmp(info.consumer, "pin_file") == 0);
    FAILS(EBUSY, request_v2(lines_v2(9, 1, GPIO_V2_LINE_FLAG_INPUT)));
    FAILS(EBUSY, request_v1(lines_v1(9, 1, GPIOHANDLE_REQUEST_INPUT)));
    EXPECT(close(lines) == 0 && info_of(8).flags == GPIO_V2_LINE_FLAG_INPUT);
    EXPECT(request_v2(lines_v2(9, 1, GPIO_V2_LINE_FLAG_INPUT)) >= 0);
}

static void sets_lines_v2(void) {
    struct gpio_v2_line_values values = {1, 3};
    struct gpio_v2_line_request request =
        lines_v2(0, 2, GPIO_V2_LINE_FLAG_OUTPUT | GPIO_V2_LINE_FLAG_ACTIVE_LOW);
    request.config.num_attrs = 1;
    request.config.attrs[0].attr.id = GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES;
    request.config.attrs[0].attr.values = 2;
    request.config.attrs[0].mask = 3;
    int lines = request_v2(request);
    EXPECT(ioctl(lines, GPIO_V2_LINE_GET_VALUES_IOCTL, &values) == 0 && values.bits == 2);
    values.bits = 1;
    EXPECT(ioctl(lines, GPIO_V2_LINE_SET_VALUES_IOCTL, &values) == 0);
    values.bits = 0;
    EXPECT(ioctl(lines, GPIO_V2_LINE_GET_VALUES_IOCTL, &values) == 0 && values.bits == 1);
    struct gpio_v2_line_config config = lines_v2(0, 2, GPIO_V2_LINE_FLAG_INPUT).config;
    EXPECT(ioctl(lines, GPIO_V2_LINE_SET_CONFIG_IOCTL, &config) == 0);
    EXPECT(info_of(0).flags == (GPIO_V2_LINE_FLAG_USED | GPIO_V2_LINE_FLAG_INPUT));
    config.flags = GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_OUTPUT;
    FAILS(EINVAL, ioctl(lines, GPIO_V2_LINE_SET_CONFIG_IOCTL, &config));
}

static void requests_lines_v1(void) {
    struct gpiohandle_data values;
    struct gpiohandle_config config;
    struct gpiohandle_request request = lines_v1(0, 2, GPIOHANDLE_REQUEST_OUTPUT);
    request.default_values[1] = 7;
    int lines = request_v1(request);
    EXPECT(ioctl(lines, GPIOHANDLE_GET_LINE_VALUES_IOCTL, &values) == 0);
    EXPECT(values.values[0] == 0 && values.values[1] == 1 && values.values[2] == 0);
    values.values[0] = 1;
    values.values[1] = 0;
    EXPECT(ioctl(lines, GPIOHANDLE_SET_LINE_VALUES_IOCTL, &values) == 0);
    EXPECT(ioctl(lines, GPIOHANDLE_GET_LINE_VALUES_IOCTL, &values) == 0);
    EXPECT(values.values[0] == 1 && values.values[1] == 0);
    FAILS(EBUSY, request_v1(lines_v1(1, 1, 0)));
    memset(&config, 0, sizeof config);
    config.flags = GPIOHANDLE_REQUEST_INPUT;
    EXPECT(ioctl(lines, GPIOHANDLE_SET_CONFIG_IOCTL, &config) == 0);
    FAILS(EPERM, ioctl(lines, GPIOHANDLE_SET_LINE_VALUES_IOCTL, &values));
    FAILS(EINVAL, ioctl(lines, GPIO_V2_LINE_GET_VALUES_IOCTL, &values));
    FAILS(EINVAL, request_v1(lines_v1(0, 0, 0)));
    FAILS(EINVAL, request_v1(lines_v1(15, 2, 0)));
    EXPECT(request_v1(lines_v1(15, 1, 0)) >= 0);
}

/* The lines stay requested as long as any process has them. */
static void shares_lines(void) {
    int status = 1, pipes[2];
    char byte;
    int lines = request_v2(lines_v2(0, 1, GPIO_V2_LINE_FLAG_INPUT));
    EXPECT(pipe(pipes) == 0);
    pid_t child = fork();
    if (child == 0) {
        struct gpio_v2_line_values values = {0, 1};
        close(pipes[1]);
        _exit(read(pipes[0], &byte, 1) == 0 &&
                      ioctl(dup2(lines, 100), GPIO_V2_LINE_GET_VALUES_IOCTL, &values) == 0
                  ? 0
                  : 1);
    }
    EXPECT(close(lines) == 0 && (info_of(0).flags & GPIO_V2_LINE_FLAG_USED) != 0);
    close(pipes[1]);
    waitpid(child, &status, 0);
    EXPECT(status == 0 && (info_of(0).flags & GPIO_V2_LINE_FLAG_USED) == 0);
}

static void say_ready(void) {
    puts("ready");
    fflush(stdout);
}

static void reports_edges_v2(void) {
    struct gpio_v2_line_event events[4];
    int lines = request_v2(lines_v2(
        8, 2, GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_EDGE_FALLING));
    struct pollfd waiting = {lines, POLLIN, 0};
    EXPECT(poll(&waiting, 1, 0) == 0);
    say_ready();
    for (unsigned i = 1; i <= 2; ++i) {
        EXPECT(poll(&waiting, 1, -1) == 1 && read(lines, events, sizeof *events) == sizeof *events);
        EXPECT(events->id == (i == 1 ? GPIO_V2_LINE_EVENT_FALLING_EDGE : GPIO_V2_LINE_EVENT_RISING_EDGE));
        EXPECT(events->offset == 8 && events->seqno == i && events->line_seqno == i);
        EXPECT(events->timestamp_ns != 0);
    }
    EXPECT(fcntl(lines, F_SETFL, O_NONBLOCK) == 0);
    FAILS(EAGAIN, read(lines, events, sizeof events));
}

static void reports_edges_v1(void) {
    struct gpioevent_request request;
    struct gpioevent_data event;
    struct gpiohandle_data values;
    int file = chip();
    memset(&request, 0, sizeof request);
    request.lineoffset = 8;
    request.eventflags = GPIOEVENT_REQUEST_BOTH_EDGES;
    request.handleflags = GPIOHANDLE_REQUEST_OUTPUT;
    FAILS(EINVAL, ioctl(file, GPIO_GET_LINEEVENT_IOCTL, &request));
    request.handleflags = GPIOHANDLE_REQUEST_INPUT;
    EXPECT(ioctl(file, GPIO_GET_LINEEVENT_IOCTL, &request) == 0);
    EXPECT(ioctl(request.fd, GPIOHANDLE_GET_LINE_VALUES_IOCTL, &values) == 0 && values.values[0] == 1);
    FAILS(EINVAL, ioctl(request.fd, GPIOHANDLE_SET_LINE_VALUES_IOCTL, &values));
    FAILS(EBUSY, ioctl(file, GPIO_GET_LINEEVENT_IOCTL, &request));
    say_ready();
    EXPECT(read(request.fd, &event, sizeof event) == sizeof event && event.timestamp != 0);
    EXPECT(event.id == GPIOEVENT_EVENT_FALLING_EDGE);
    EXPECT(read(request.fd, &event, sizeof event) == sizeof event);
    EXPECT(event.id == GPIOEVENT_EVENT_RISING_EDGE);
}

static void watches_lines(void) {
    struct gpio_v2_line_info info = info_of(3);
    struct gpio_v2_line_info_changed change;
    struct gpioline_info old;
    int file = chip();
    memset(&old, 0, sizeof old);
    EXPECT(ioctl(file, GPIO_V2_GET_LINEINFO_WATCH_IOCTL, &info) == 0);
    FAILS(EBUSY, ioctl(file, GPIO_V2_GET_LINEINFO_WATCH_IOCTL, &info));
    FAILS(EPERM, ioctl(file, GPIO_GET_LINEINFO_WATCH_IOCTL, &old));
    EXPECT(fcntl(file, F_SETFL, O_NONBLOCK) == 0);
    FAILS(EAGAIN, read(file, &change, sizeof change));
    int lines = request_v2(lines_v2(3, 1, GPIO_V2_LINE_FLAG_INPUT));
    EXPECT(read(file, &change, sizeof change) == sizeof change && change.info.offset == 3);
    EXPECT(change.event_type == GPIO_V2_LINE_CHANGED_REQUESTED && (change.info.flags & 1) == 1);
    close(lines);
    (void)info_of(3); /* by now the lines are released */
    EXPECT(read(file, &change, sizeof change) == sizeof change);
    EXPECT(change.event_type == GPIO_V2_LINE_CHANGED_RELEASED && (change.info.flags & 1) == 0);
    EXPECT(ioctl(file, GPIO_GET_LINEINFO_UNWATCH_IOCTL, &info.offset) == 0);
    FAILS(EBUSY, ioctl(file, GPIO_GET_LINEINFO_UNWATCH_IOCTL, &info.offset));
}

static void requests_many(void) {
    for (int i = 0; i < 500; ++i) {
        int lines = request_v2(lines_v2(0, 16, GPIO_V2_LINE_FLAG_INPUT));
        EXPECT(lines >= 0 && close(lines) == 0);
    }
}

/* Holds line 0 until it is killed. */
static void holds(void) {
    EXPECT(request_v2(lines_v2(0, 1, GPIO_V2_LINE_FLAG_OUTPUT)) >= 0);
    say_ready();
    for (;;) {
        pause();
    }
}

static const struct {
    const char *name;
    void (*run)(void);
} ways[] = {{"found", is_found},       {"info", tells_about_itself},   {"fail", fails_as_linux_does},
            {"v2", requests_lines_v2}, {"set", sets_lines_v2},         {"v1", requests_lines_v1},
            {"share", shares_lines},   {"edges-v2", reports_edges_v2}, {"edges-v1", reports_edges_v1},
            {"watch", watches_lines},  {"many", requests_many},        {"hold", holds}};

int main(int argc, char **argv) {
    for (size_t i = 0; argc > 1 && i < sizeof ways / sizeof *ways; ++i) {
        if (strcmp(argv[1], ways[i].name) == 0) {
            ways[i].run();
            puts("good");
            return 0;
        }
    }
    puts("bad: unknown way");
    return 1;
}
