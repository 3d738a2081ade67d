// SPDX-License-Identifier: Apache-2.0
// Taking and releasing a lock without contention: ours, the bare system call, and other locks between
// processes.
#include <array>
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include "benches.h"
#include "support/processes.h"
#include "support/scratch_folder.h"
#include "varnel/sem_lock.h"

namespace varnel::bench {

namespace {

constexpr int pairs = 100'000;

double pairs_per_second(const std::function<void()> &take_and_release) {
    const double before = now();
    for (int i = 0; i < pairs; ++i) {
        take_and_release();
    }
    return pairs / (now() - before);
}

contender contender_of(const std::string &name, role who, const std::function<void()> &take_and_release) {
    return {name, who, [take_and_release] { return pairs_per_second(take_and_release); }};
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

void locks(results &found) {
    const test::scratch_folder folder;
    const int set = get_sem_lock(folder.file("key").c_str(), 1);
    checked(set, "get_sem_lock");
    const int file = open(folder.file("lock").c_str(), O_RDWR | O_CREAT, 0600);
    checked(file, "open");
    pthread_mutex_t *const mutex = robust_mutex();
    const std::vector<contender> contenders{
        contender_of("wait_sem_lock, release_sem_lock", role::ours,
                     [&] {
                         checked(wait_sem_lock(set, 0), "wait_sem_lock");
                         checked(release_sem_lock(set, 0), "release_sem_lock");
                     }),
        contender_of("flock", role::peer,
                     [&] {
                         checked(flock(file, LOCK_EX), "flock");
                         checked(flock(file, LOCK_UN), "flock");
                     }),
        contender_of("robust pthread mutex", role::peer,
                     [&] {
                         checked(-pthread_mutex_lock(mutex), "pthread_mutex_lock");
                         checked(-pthread_mutex_unlock(mutex), "pthread_mutex_unlock");
                     }),
        contender_of("semop, semop", role::floor, [&] { bare_semop(set); })};
    found.add(
        {"lock.pair", "Taking and releasing a lock that is free", "pairs/s", better::higher,
         "One process, 100 000 pairs a round. The mutex needs no system call without contention, but shared "
         "memory between its users; the others need a path.",
         interleaved(15, contenders), goal{0.9, "semop, semop"}});
    munmap(mutex, sizeof(pthread_mutex_t));
    close(file);
    semctl(set, 0, IPC_RMID);
}

} // namespace varnel::bench
