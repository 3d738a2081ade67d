/* SPDX-License-Identifier: Apache-2.0 */
/* A small daemon with the jobs of jobs.h.
     daemon start TIME   prints the nanoseconds from TIME (CLOCK_MONOTONIC) to the beginning of main()
     daemon work FOLDER  does its jobs, prints what it found, and stays until its standard input ends
     daemon board        does those that need a board */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "jobs.h"

static const char *in_folder(char *path, size_t room, const char *folder, const char *name) {
    (void)snprintf(path, room, "%s/%s", folder, name);
    return path;
}

static int work(const char *folder) {
    char path[256];
    const int limit = limit_in_ini(in_folder(path, sizeof path, folder, "fan.ini"));
    const int speed = speed_in_xml(in_folder(path, sizeof path, folder, "fans.xml"));
    if (limit < 0 || speed < 0 || log_speed(in_folder(path, sizeof path, folder, "fan.log"), speed) != 0 ||
        take_and_release_lock(in_folder(path, sizeof path, folder, "lock")) != 0 ||
        post_record(in_folder(path, sizeof path, folder, "events"), speed) != 0) {
        return EXIT_FAILURE;
    }
    (void)printf("limit %d speed %d\n", limit, speed);
    (void)fflush(stdout);
    while (getchar() != EOF) {
    }
    return EXIT_SUCCESS;
}

static int use_board(void) {
    const int failed = bring_up_chips() != 0 || log_to_system_log(0) != 0 ||
                       fetch_file("image", "127.0.0.1") != 0 || relay_command() != 0;
    return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

int main(int argc, char **argv) {
    struct timespec now;
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    if (argc == 3 && strcmp(argv[1], "start") == 0) {
        const long long since = strtoll(argv[2], NULL, 10);
        (void)printf("%lld\n", (long long)now.tv_sec * 1000000000 + now.tv_nsec - since);
        return EXIT_SUCCESS;
    }
    if (argc == 3 && strcmp(argv[1], "work") == 0) {
        return work(argv[2]);
    }
    return argc == 2 && strcmp(argv[1], "board") == 0 ? use_board() : EXIT_FAILURE;
}
