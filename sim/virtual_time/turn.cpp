// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/turn.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

namespace varnel::sim::virtual_time {

namespace {

[[noreturn]] void fail(const char *what) { throw std::system_error(errno, std::generic_category(), what); }

} // namespace

/// The memory is there as long as this process, which makes one turn.
turn::turn() : memory_(memfd_create("varnel-sim turn", MFD_CLOEXEC)) {
    if (ftruncate(memory_.get(), sizeof(shared_turn)) != 0) {
        fail("memfd_create");
    }
    void *const shared =
        mmap(nullptr, sizeof(shared_turn), PROT_READ | PROT_WRITE, MAP_SHARED, memory_.get(), 0);
    if (shared == MAP_FAILED) {
        fail("mmap");
    }
    shared_ = static_cast<shared_turn *>(shared);
}

std::string turn::file_name() const { return fmt::format("/proc/{}/fd/{}", getpid(), memory_.get()); }

void turn::give(pid_t thread) {
    if (holder() == thread) {
        return;
    }
    if (holder() != 0) {
        looks_[holder()] = shared_->looks;
    }
    const auto found = looks_.find(thread);
    shared_->looks = found == looks_.end() ? 0 : found->second;
    shared_->thread = thread;
}

uint32_t turn::count_look(pid_t thread) { return thread == holder() ? ++shared_->looks : ++looks_[thread]; }

void turn::forget_looks(pid_t thread) {
    if (thread == holder()) {
        shared_->looks = 0;
    } else {
        looks_.erase(thread);
    }
}

} // namespace varnel::sim::virtual_time
