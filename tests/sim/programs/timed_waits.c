/* SPDX-License-Identifier: Apache-2.0 */
/*
 * timed_waits ends|woken|spin: waits in each way that has a limit, and prints what the wait returned and how long it took on
 * the monotonic clock.
 *
 *   ends    nothing happens: each wait takes its limit of 1.5 s
 *   woken   another thread makes each wait with a limit of 10 s end after 1.25 s
 *   spin    looks at the clock until 10 ms have passed
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <mqueue.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ipc.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

static long limit_ms;
static int ends_of_pipe[2];
static int set;
static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t taken = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
static sem_t semaphore;
static mqd_t queue;

static double seconds(clockid_t clock) {
    struct timespec now;
    clock_gettime(clock, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

static struct timespec limit(void) { return (struct timespec){limit_ms / 1000, limit_ms % 1000 * 1000000}; }

static struct timespec end(clockid_t clock) {
    struct timespec time;
    clock_gettime(clock, &time);
    time.tv_sec += limit_ms / 1000;
    time.tv_nsec += limit_ms % 1000 * 1000000;
    if (time.tv_nsec >= 1000000000) {
        time.tv_sec++;
        time.tv_nsec -= 1000000000;
    }
    return time;
}

/* --- Waits; each returns 0, a number, or -errno --- */

static int result_of(int result) { return result < 0 ? -errno : result; }

static int by_nanosleep(void) {
    const struct timespec time = limit();
    return result_of(nanosleep(&time, NULL));
}
static int by_clock_nanosleep(void) {
    const struct timespec until = end(CLOCK_REALTIME);
    return -clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &until, NULL);
}
static int by_usleep(void) { return result_of(usleep((useconds_t)limit_ms * 1000)); }
static int by_poll(void) {
    struct pollfd file = {ends_of_pipe[0], POLLIN, -1};
    const int result = poll(&file, 1, (int)limit_ms);
    return result == 0 && file.revents != 0 ? -99 : result_of(result);
}
static int by_ppoll(void) {
    struct pollfd file = {ends_of_pipe[0], POLLIN, 0};
    const struct timespec time = limit();
    return result_of(ppoll(&file, 1, &time, NULL));
}
static int by_select(void) {
    fd_set files;
    FD_ZERO(&files);
    FD_SET(ends_of_pipe[0], &files);
    struct timeval time = {limit_ms / 1000, limit_ms % 1000 * 1000};
    const int result = select(ends_of_pipe[0] + 1, &files, NULL, NULL, &time);
    return result == 0 && FD_ISSET(ends_of_pipe[0], &files) ? -99 : result_of(result);
}
static int by_pselect(void) {
    fd_set files;
    FD_ZERO(&files);
    FD_SET(ends_of_pipe[0], &files);
    const struct timespec time = limit();
    return result_of(pselect(ends_of_pipe[0] + 1, &files, NULL, NULL, &time, NULL));
}
static int by_epoll_wait(void) {
    struct epoll_event event = {EPOLLIN, {0}};
    const int files = epoll_create1(0);
    epoll_ctl(files, EPOLL_CTL_ADD, ends_of_pipe[0], &event);
    const int result = result_of(epoll_wait(files, &event, 1, (int)limit_ms));
    close(files);
    return result;
}
static int by_cond_timedwait(void) {
    const struct timespec until = end(CLOCK_REALTIME);
    pthread_mutex_lock(&mutex);
    const int result = pthread_cond_timedwait(&condition, &mutex, &until);
    pthread_mutex_unlock(&mutex);
    return -result;
}
static int by_cond_clockwait(void) {
    const struct timespec until = end(CLOCK_MONOTONIC);
    pthread_mutex_lock(&mutex);
    const int result = pthread_cond_clockwait(&condition, &mutex, CLOCK_MONOTONIC, &until);
    pthread_mutex_unlock(&mutex);
    return -result;
}
static int by_mutex_timedlock(void) {
    const struct timespec until = end(CLOCK_REALTIME);
    return -pthread_mutex_timedlock(&taken, &until);
}
static int by_sem_timedwait(void) {
    const struct timespec until = end(CLOCK_REALTIME);
    return result_of(sem_timedwait(&semaphore, &until));
}
static int by_semtimedop(void) {
    struct sembuf take = {0, -1, 0};
    const struct timespec time = limit();
    return result_of(semtimedop(set, &take, 1, &time));
}
static int by_mq_timedreceive(void) {
    char message[8];
    const struct timespec until = end(CLOCK_REALTIME);
    return result_of((int)mq_timedreceive(queue, message, sizeof message, NULL, &until));
}
static int by_sigtimedwait(void) {
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, SIGUSR1);
    const struct timespec time = limit();
    return result_of(sigtimedwait(&wanted, NULL, &time));
}

/* The second expiration is at the limit. */
static int by_timerfd(void) {
    struct itimerspec left;
    uint64_t expirations;
    const int file = timerfd_create(CLOCK_MONOTONIC, 0);
    timerfd_settime(file, 0, &(struct itimerspec){{0, 250000000}, {1, 250000000}}, NULL);
    timerfd_gettime(file, &left);
    int result = left.it_value.tv_sec == 1 ? 0 : -EINVAL;
    for (int i = 0; i < 2; i++) {
        if (read(file, &expirations, sizeof expirations) != sizeof expirations || expirations != 1) {
            result = -EIO;
        }
    }
    close(file);
    return result;
}
static int by_setitimer(void) {
    const struct itimerval times = {{0, 0}, {limit_ms / 1000, limit_ms % 1000 * 1000}};
    setitimer(ITIMER_REAL, &times, NULL);
    return pause() < 0 && errno == EINTR ? 0 : -EIO;
}
static int by_timer(void) {
    timer_t timer;
    struct sigevent event = {
        .sigev_notify = SIGEV_SIGNAL, .sigev_signo = SIGUSR1, .sigev_value = {.sival_int = 42}};
    const struct itimerspec times = {{0, 0}, limit()};
    sigset_t wanted;
    siginfo_t info;
    sigemptyset(&wanted);
    sigaddset(&wanted, SIGUSR1);
    if (timer_create(CLOCK_REALTIME, &event, &timer) != 0 || timer_settime(timer, 0, &times, NULL) != 0 ||
        sigwaitinfo(&wanted, &info) != SIGUSR1 || timer_delete(timer) != 0) {
        return -errno;
    }
    return info.si_value.sival_int == 42 && info.si_code == SI_TIMER ? 0 : -EIO;
}

/* --- What ends them early --- */

static pthread_t waiter;

static void fill_pipe(void) { (void)!write(ends_of_pipe[1], "x", 1); }
static void signal_condition(void) {
    pthread_mutex_lock(&mutex);
    pthread_cond_signal(&condition);
    pthread_mutex_unlock(&mutex);
}
static void release_mutex(void) { pthread_mutex_unlock(&taken); }
static void post_semaphore(void) { sem_post(&semaphore); }
static void add_to_set(void) {
    struct sembuf add = {0, 1, 0};
    semop(set, &add, 1);
}
static void send_message(void) { mq_send(queue, "x", 1, 0); }
static void send_blocked_signal(void) { pthread_kill(waiter, SIGUSR1); }
static void interrupt(void) { pthread_kill(waiter, SIGUSR2); }

static const struct {
    const char *name;
    int (*wait)(void);
    void (*wake)(void);
} ways[] = {
    {"nanosleep", by_nanosleep, interrupt},
    {"clock_nanosleep", by_clock_nanosleep, interrupt},
    {"usleep", by_usleep, interrupt},
    {"poll", by_poll, fill_pipe},
    {"poll, signal", by_poll, interrupt},
    {"ppoll", by_ppoll, fill_pipe},
    {"select", by_select, fill_pipe},
    {"pselect", by_pselect, fill_pipe},
    {"epoll_wait", by_epoll_wait, fill_pipe},
    {"pthread_cond_timedwait", by_cond_timedwait, signal_condition},
    {"pthread_cond_clockwait", by_cond_clockwait, signal_condition},
    {"sem_timedwait", by_sem_timedwait, post_semaphore},
    {"sem_timedwait, signal", by_sem_timedwait, interrupt},
    {"semtimedop", by_semtimedop, add_to_set},
    {"mq_timedreceive", by_mq_timedreceive, send_message},
    {"sigtimedwait", by_sigtimedwait, send_blocked_signal},
    {"timerfd", by_timerfd, NULL},
    {"setitimer", by_setitimer, NULL},
    {"timer_create", by_timer, NULL},
    {"pthread_mutex_timedlock", by_mutex_timedlock, release_mutex},
};
enum { WAYS = sizeof ways / sizeof ways[0] };

static void handle(int signal_number) { (void)signal_number; }

static void create_everything(void) {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, NULL);
    const struct sigaction on_signal = {.sa_handler = handle};
    sigaction(SIGUSR2, &on_signal, NULL);
    sigaction(SIGALRM, &on_signal, NULL);
    struct mq_attr shape = {.mq_maxmsg = 1, .mq_msgsize = 8};
    char name[32];
    snprintf(name, sizeof name, "/timed_waits.%ld", (long)getpid());
    queue = mq_open(name, O_RDWR | O_CREAT, 0600, &shape);
    mq_unlink(name);
    set = semget(IPC_PRIVATE, 1, 0600);
    if (pipe(ends_of_pipe) != 0 || queue < 0 || set < 0 || sem_init(&semaphore, 0, 0) != 0) {
        perror("timed_waits");
        exit(2);
    }
}

static void measure(size_t way) {
    const double wall = seconds(CLOCK_REALTIME);
    const double begin = seconds(CLOCK_MONOTONIC);
    const int result = ways[way].wait();
    const double took = seconds(CLOCK_MONOTONIC) - begin;
    printf("%-24s %s %.4f %.4f\n", ways[way].name, result < 0 ? strerrorname_np(-result) : "done", took,
           seconds(CLOCK_REALTIME) - wall);
}

static void *wake(void *way) {
    nanosleep(&(struct timespec){1, 250000000}, NULL);
    ways[*(const size_t *)way].wake();
    return NULL;
}

/* The other thread holds the mutex that a way waits for. */
static void *hold_mutex(void *ignored) {
    pthread_mutex_lock(&taken);
    nanosleep(&(struct timespec){limit_ms == 1500 ? 60 : 1, 250000000}, NULL);
    pthread_mutex_unlock(&taken);
    return ignored;
}

static void let_wake(size_t way) {
    pthread_t waker;
    const int holds = ways[way].wait == by_mutex_timedlock;
    pthread_create(&waker, NULL, holds ? hold_mutex : wake, &way);
    if (holds) {
        nanosleep(&(struct timespec){0, 1000000}, NULL);
    }
    measure(way);
    pthread_join(waker, NULL);
    char byte;
    if (ways[way].wake == fill_pipe) {
        (void)!read(ends_of_pipe[0], &byte, 1);
    }
}

static int spin(void) {
    const double begin = seconds(CLOCK_MONOTONIC);
    while (seconds(CLOCK_MONOTONIC) < begin + 0.01) {
    }
    puts("10 ms have passed");
    return 0;
}

int main(int argc, char *argv[]) {
    waiter = pthread_self();
    create_everything();
    if (argc > 1 && strcmp(argv[1], "spin") == 0) {
        return spin();
    }
    const int woken = argc > 1 && strcmp(argv[1], "woken") == 0;
    limit_ms = woken ? 10000 : 1500;
    for (size_t way = 0; way < WAYS; way++) {
        if (woken && ways[way].wake == NULL) {
            continue;
        }
        if (woken || ways[way].wait == by_mutex_timedlock) {
            let_wake(way);
        } else if (strchr(ways[way].name, ',') == NULL) {
            measure(way);
        }
    }
    semctl(set, 0, IPC_RMID);
    return 0;
}
