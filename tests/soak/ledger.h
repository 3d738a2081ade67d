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

/// The records and entries that a writer has begun, and those that were acknowledged. Numbers are used once.
struct writer_account {
    std::atomic<uint32_t> begun;
    std::atomic<uint32_t> last_post;  ///< last acknowledged record
    std::atomic<uint32_t> last_entry; ///< last acknowledged log entry
    std::atomic<uint32_t> last_received;
    std::atomic<uint32_t> received;
};

/// Descriptors and resident memory of a member.
struct footprint {
    std::atomic<int> descriptors;
    std::atomic<long> resident_kib;
    std::atomic<int> answered_request;
};

/// Shared by all processes of a run. The last state of a killed member stays here.
struct ledger {
    std::atomic<bool> stop;
    std::atomic<bool> drained;
    std::array<writer_account, writers> accounts;
    std::atomic<uint32_t> broken_records; ///< wrong content, wrong order, or twice
    std::atomic<uint32_t> missed;         ///< records that the reader did not receive; see missed_records
    std::array<std::atomic<uint64_t>, 4096> missed_records;
    std::atomic<uint32_t> failed_posts;
    std::atomic<uint64_t> holder;                      ///< of the bus: slot and incarnation, or 0
    std::array<std::atomic<uint32_t>, lockers> doomed; ///< last incarnation that was killed
    std::atomic<uint32_t> turns;
    std::atomic<uint32_t> shared_turns; ///< with two holders at the same time
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
