// SPDX-License-Identifier: Apache-2.0
#include "varnel/sem_lock.h"

#include <array>
#include <cstdint>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

namespace {

constexpr int project = '_';
constexpr mode_t everyone = 0777;

sembuf operation(int32_t semnum, short change, short flags) {
    return {static_cast<unsigned short>(semnum), change, flags};
}

/// Changes free (0) to held (1) in one step. When the holder dies, the kernel undoes the 1.
int lock(int32_t semid, int32_t semnum, short wait_flags) {
    std::array<sembuf, 2> operations{operation(semnum, 0, wait_flags), operation(semnum, 1, SEM_UNDO)};
    return semop(semid, operations.data(), operations.size());
}

} // namespace

int get_sem_lock(const char *path, int32_t nsems) {
    const int fd = open(path, O_RDWR | O_CREAT, everyone);
    if (fd == -1) {
        return -1;
    }
    close(fd);
    const key_t key = ftok(path, project);
    return key == -1 ? -1 : semget(key, nsems, IPC_CREAT | everyone);
}

int wait_sem_lock(int32_t semid, int32_t semnum) { return lock(semid, semnum, 0); }

int try_sem_lock(int32_t semid, int32_t semnum) { return lock(semid, semnum, IPC_NOWAIT); }

int release_sem_lock(int32_t semid, int32_t semnum) {
    sembuf give_back = operation(semnum, -1, SEM_UNDO);
    return semop(semid, &give_back, 1);
}
