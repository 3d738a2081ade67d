/* SPDX-License-Identifier: Apache-2.0 */
/*
 * awkward WAY [ARGUMENT...]: uses the bus of a board in ways that a library loaded into it must survive. Each
 * way prints one word, "good" when all went well, and exits 0 then. Works on the GPIO expander 0x20 on bus 0:
 * its output register 2 keeps what is written.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "varnel/platform.h"
#include "varnel/varnel.h"

enum { OUTPUT = 2, DESCRIPTORS = 1024 };
static const uint32_t expander = 0x2000;

static bool keeps(uint8_t value) {
    uint8_t back = (uint8_t)~value;
    return smbus_write_byte_to_device(expander, OUTPUT, value) == 0 &&
           smbus_read_byte_to_device(expander, OUTPUT, &back) == 0 && back == value;
}

static bool answers(void) {
    uint8_t byte;
    return smbus_read_byte_to_device(expander, OUTPUT, &byte) == 0;
}

static bool succeeded(pid_t child) {
    int status;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/* Parent and children use the bus at the same time, the children through what they have inherited. */
static bool forks(void) {
    pid_t children[4];
    bool good = keeps(0x11);
    for (int i = 0; i < 4; ++i) {
        children[i] = fork();
        if (children[i] == 0) {
            for (int n = 0; n < 200; ++n) {
                if (!answers()) {
                    _exit(1);
                }
            }
            _exit(0);
        }
    }
    for (int n = 0; n < 200; ++n) {
        good = answers() && good;
    }
    for (int i = 0; i < 4; ++i) {
        good = succeeded(children[i]) && good;
    }
    return good;
}

static void *call_often(void *result) {
    for (int n = 0; n < 500 && *(bool *)result; ++n) {
        *(bool *)result = answers();
    }
    return NULL;
}

static bool threads(void) {
    pthread_t thread[8];
    bool good[8];
    bool all = true;
    for (int i = 0; i < 8; ++i) {
        good[i] = true;
        if (pthread_create(&thread[i], NULL, call_often, &good[i]) != 0) {
            return false;
        }
    }
    for (int i = 0; i < 8; ++i) {
        all = pthread_join(thread[i], NULL) == 0 && good[i] && all;
    }
    return all;
}

/* A child of a process whose other threads are in the middle of transfers. */
static bool fork_among_threads(void) {
    pthread_t thread;
    bool good = true;
    if (pthread_create(&thread, NULL, call_often, &good) != 0) {
        return false;
    }
    bool children = true;
    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(answers() ? 0 : 1);
        }
        children = succeeded(child) && children;
    }
    return pthread_join(thread, NULL) == 0 && good && children;
}

static void close_all(void) {
    for (int descriptor = 3; descriptor < DESCRIPTORS; ++descriptor) {
        close(descriptor);
    }
}

static bool closes_descriptors(void) {
    const bool before = keeps(0x33);
    close_all();
    return before && keeps(0x44);
}

/* After closing all descriptors, every number belongs to a file of the program: it must stay untouched. */
static bool replaces_descriptors(const char *file) {
    struct stat now;
    const bool before = keeps(0x55);
    close_all();
    const int mine = open(file, O_RDWR | O_CREAT | O_TRUNC, 0600);
    int last = mine;
    while (last < DESCRIPTORS - 2 && (last = dup(mine)) >= 0) {
    }
    const bool after = keeps(0x66);
    return before && after && fstat(mine, &now) == 0 && now.st_size == 0 &&
           fcntl(DESCRIPTORS - 2, F_GETFD) >= 0;
}

static bool allows_few_descriptors(void) {
    const struct rlimit few = {16, 16};
    return setrlimit(RLIMIT_NOFILE, &few) == 0 && (close_all(), keeps(0x21));
}

static void ignore(int signal_number) { (void)signal_number; }

/* Signals interrupt the system calls of a transfer all the time. */
static bool is_interrupted(void) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = ignore;
    const struct itimerval often = {{0, 50}, {0, 50}};
    const struct itimerval never = {{0, 0}, {0, 0}};
    bool good = sigaction(SIGALRM, &action, NULL) == 0 && setitimer(ITIMER_REAL, &often, NULL) == 0;
    for (int n = 0; n < 5000 && good; ++n) {
        good = answers();
    }
    setitimer(ITIMER_REAL, &never, NULL);
    return good;
}

/* A transfer that succeeds leaves errno alone. */
static bool keeps_errno(void) {
    errno = EDOM;
    return answers() && errno == EDOM && smbus_quick_to_device(0x7700, 0) == -1 && errno == ENXIO;
}

/* Becomes a daemon and uses the bus only when there is something to read from `file`, after its parent is
 * gone. */
static bool becomes_daemon(const char *file, const char *result) {
    if (fork() != 0) {
        return true;
    }
    setsid();
    char byte;
    const int gate = open(file, O_RDONLY);
    const bool told = read(gate, &byte, 1) == 1;
    FILE *const out = fopen(result, "w");
    fprintf(out, "%s\n", told && keeps(0x77) ? "good" : "bad");
    fclose(out);
    _exit(0);
}

static bool calls_for_ever(void) {
    while (keeps(0x5A)) {
    }
    return false;
}

static bool go(const char *way, char **arguments) {
    if (strcmp(way, "fork") == 0) {
        return forks();
    }
    if (strcmp(way, "threads") == 0) {
        return threads();
    }
    if (strcmp(way, "fork-among-threads") == 0) {
        return fork_among_threads();
    }
    if (strcmp(way, "close") == 0) {
        return closes_descriptors();
    }
    if (strcmp(way, "replace") == 0) {
        return replaces_descriptors(arguments[0]);
    }
    if (strcmp(way, "few") == 0) {
        return allows_few_descriptors();
    }
    if (strcmp(way, "interrupt") == 0) {
        return is_interrupted();
    }
    if (strcmp(way, "errno") == 0) {
        return keeps_errno();
    }
    if (strcmp(way, "exec") == 0) {
        return keeps(0x22) && execvp(arguments[0], arguments) == 0;
    }
    if (strcmp(way, "daemon") == 0) {
        return becomes_daemon(arguments[0], arguments[1]);
    }
    return strcmp(way, "for-ever") == 0 && calls_for_ever();
}

int main(int argc, char *argv[]) {
    const bool good = argc > 1 && go(argv[1], argv + 2);
    puts(good ? "good" : "bad");
    return good ? 0 : 1;
}
