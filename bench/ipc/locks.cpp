// SPDX-License-Identifier: Apache-2.0
// Taking and releasing a lock that nobody else wants: ours, the bare system call, and other locks between
// processes.
#include <array>
#include <cerrno>
#include <functional>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include "benches.h"
#include "measure.h"
#include "support/scratch_folder.h"
#include "varnel/sem_lock.h"

namespace varnel::bench {

namespace {

constexpr int pairs = 100'000;

outcome timed(const std::function<void()> &take_and_release) {
    const double before = now();
    for (int i = 0; i < pairs; ++i) {
        take_and_release();
    }
    return {pairs / (now() - before)};
}

void bare_semop(int set) {
    std::array<sembuf, 2> take{sembuf{0, 0, 0}, sembuf{0, 1, SEM_UNDO}};
    sembuf release{0, -1, SEM_UNDO};
    checked(semop(set, take.data(), take.size()), "semop");
    checked(semop(set, &release, 1), "semop");
}

pthread_mutex_t *robust_mutex() {
    auto *mutex = static_cast<pthread_mutex_t *>(
        mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return mutex;
}

} // namespace

void locks() {
    const test::scratch_folder folder;
    const int set = get_sem_lock(folder.file("key").c_str(), 1);
    checked(set, "get_sem_lock");
    const int file = open(folder.file("lock").c_str(), O_RDWR | O_CREAT, 0600);
    checked(file, "open");
    pthread_mutex_t *mutex = robust_mutex();
    compare({"Lock, taken and released by one process", "pairs per second", 15, "semop, semop", 90},
            {{"wait_sem_lock, release_sem_lock",
              [&] {
                  return timed([&] {
                      checked(wait_sem_lock(set, 0), "wait_sem_lock");
                      checked(release_sem_lock(set, 0), "release_sem_lock");
                  });
              }},
             {"semop, semop", [&] { return timed([&] { bare_semop(set); }); }},
             {"flock",
              [&] {
                  return timed([&] {
                      checked(flock(file, LOCK_EX), "flock");
                      checked(flock(file, LOCK_UN), "flock");
                  });
              }},
             {"robust pthread mutex", [&] {
                  return timed([&] {
                      checked(-pthread_mutex_lock(mutex), "pthread_mutex_lock");
                      checked(-pthread_mutex_unlock(mutex), "pthread_mutex_unlock");
                  });
              }}});
    munmap(mutex, sizeof *mutex);
    close(file);
    semctl(set, 0, IPC_RMID);
}

} // namespace varnel::bench
