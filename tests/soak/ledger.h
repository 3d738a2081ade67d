// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>

#include <sys/mman.h>

namespace varnel::soak {

constexpr int writers = 3;    ///< of the queue and of the common log; killed now and then
constexpr int lockers = 3;    ///< holders of the bus; all but the first are killed now and then
constexpr int long_lived = 4; ///< never killed: reader, first locker, rotating log, transfers

/// What a writer has begun and what it was told to be done. Numbers are never used twice.
struct writer_account {
    std::atomic<uint32_t> begun;
    std::atomic<uint32_t> last_post;  ///< that was acknowledged
    std::atomic<uint32_t> last_entry; ///< the same of the log
    std::atomic<uint32_t> last_received;
    std::atomic<uint32_t> received;
};

/// Descriptors and resident memory of a member.
struct footprint {
    std::atomic<int> descriptors;
    std::atomic<long> resident_kib;
    std::atomic<int> taken; ///< for which request
};

/// What all processes of a run share. A member that is killed leaves its last state here.
struct ledger {
    std::atomic<bool> stop;
    std::atomic<bool> drained;
    std::array<writer_account, writers> accounts;
    std::atomic<uint32_t> broken_records; ///< wrong content, wrong order, or twice
    std::atomic<uint32_t> missed; ///< numbers that the reader passed over, and who should have sent which
    std::array<std::atomic<uint64_t>, 4096> missed_records;
    std::atomic<uint32_t> failed_posts;
    std::atomic<uint64_t> holder;                      ///< of the bus: slot and incarnation, 0 nobody
    std::array<std::atomic<uint32_t>, lockers> doomed; ///< the last incarnation that was sent SIGKILL
    std::atomic<uint32_t> turns;
    std::atomic<uint32_t> shared_turns; ///< two holders at a time
    std::atomic<uint32_t> transfers;
    std::atomic<bool> sender_killed;
    std::atomic<uint32_t> cut_transfers; ///< whose sender was killed
    std::atomic<uint32_t> wrong_transfers;
    std::atomic<uint32_t> readings;
    std::atomic<uint32_t> failed_readings;
    std::atomic<int> footprint_wanted;
    std::array<footprint, long_lived> footprints;
};

/// Zeroed, and shared with processes forked from here on.
inline ledger &make_ledger() {
    void *const memory =
        mmap(nullptr, sizeof(ledger), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::abort();
    }
    return *static_cast<ledger *>(memory);
}

} // namespace varnel::soak
