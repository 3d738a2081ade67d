// SPDX-License-Identifier: Apache-2.0
#include "sim/preload/turn.h"

#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim/protocol/shared_turn.h"

namespace varnel::sim::preload {

namespace {

shared_turn *turn = nullptr;

} // namespace

void find_turn() {
    const char *const name = getenv(turn_variable);
    const int file = name == nullptr ? -1 : open(name, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return;
    }
    void *const shared = mmap(nullptr, sizeof(shared_turn), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (shared != MAP_FAILED) {
        turn = static_cast<shared_turn *>(shared);
    }
}

/// Nobody else changes it during this thread's turn.
bool takes_turn() {
    if (turn == nullptr || turn->thread != static_cast<int32_t>(syscall(SYS_gettid)) ||
        turn->looks >= shared_turn::free_looks) {
        return false;
    }
    ++turn->looks;
    return true;
}

} // namespace varnel::sim::preload
