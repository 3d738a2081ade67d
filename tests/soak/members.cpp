// SPDX-License-Identifier: Apache-2.0
#include "soak/members.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/scratch_folder.h"
#include "varnel/varnel.h"

namespace varnel::soak {

namespace {

using namespace std::chrono_literals;

/// At most PIPE_BUF bytes: a longer record may be written in part when its writer is killed.
constexpr std::size_t largest_payload = 4052;

struct record {
    std::array<uint8_t, 40> header{};
    uint32_t payload_length = 0;
    std::array<uint8_t, QUEUE_MESSAGE_PAYLOAD_MAX> payload{};

    [[nodiscard]] const queue_message *get() const { return reinterpret_cast<const queue_message *>(this); }
    [[nodiscard]] int writer() const { return header[0]; }
    [[nodiscard]] uint32_t number() const {
        uint32_t value = 0;
        std::memcpy(&value, header.data() + 4, sizeof value);
        return value;
    }
    void fill(int writer, uint32_t number) {
        header[0] = static_cast<uint8_t>(writer);
        std::memcpy(header.data() + 4, &number, sizeof number);
        payload_length = number * 97 % (largest_payload + 1);
        std::fill_n(payload.begin(), payload_length, static_cast<uint8_t>(number));
    }
    [[nodiscard]] bool is_whole() const {
        return payload_length == number() * 97 % (largest_payload + 1) &&
               std::all_of(payload.begin(), payload.begin() + payload_length,
                           [this](uint8_t each) { return each == static_cast<uint8_t>(number()); });
    }
};

void report_footprint(ledger &shared, int member) {
    footprint &mine = shared.footprints[static_cast<std::size_t>(member)];
    const int wanted = shared.footprint_wanted;
    if (mine.answered_request == wanted) {
        return;
    }
    // Without the descriptor of the listing itself.
    mine.descriptors =
        static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {})) - 1;
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    mine.resident_kib = pages * sysconf(_SC_PAGESIZE) / 1024;
    mine.answered_request = wanted;
}

void note_received(ledger &shared, const record &got) {
    if (got.writer() >= writers || !got.is_whole()) {
        ++shared.broken_records;
        return;
    }
    writer_account &account = shared.accounts[static_cast<std::size_t>(got.writer())];
    if (got.number() <= account.last_received) {
        ++shared.broken_records;
        return;
    }
    for (uint32_t number = account.last_received + 1; number < got.number(); ++number) {
        shared.missed_records[shared.missed++ % shared.missed_records.size()] =
            static_cast<uint64_t>(got.writer()) << 32 | number;
    }
    account.last_received = got.number();
    ++account.received;
}

} // namespace

int write_records(ledger &shared, int writer) {
    writer_account &account = shared.accounts[static_cast<std::size_t>(writer)];
    static record next;
    const int queue = open("queue", O_WRONLY);
    while (!shared.stop) {
        const uint32_t number = ++account.begun;
        next.fill(writer, number);
        const bool by_path = number % 16 == 0;
        if ((by_path ? post_message_to_named_queue(next.get(), "queue") : post_message(next.get(), queue)) ==
            0) {
            account.last_post = number;
        } else {
            ++shared.failed_posts;
        }
        if (log_str_size("log", INT32_MAX, "writer %d entry %u", writer, number) == 0) {
            account.last_entry = number;
        }
        std::this_thread::sleep_for(1ms);
    }
    return 0;
}

int read_records(ledger &shared) {
    static record got;
    const int queue = open("queue", O_RDWR);
    for (;;) {
        if (get_message(&got, queue, 1) == 0) {
            note_received(shared, got);
        } else if (shared.drained) { // all writers have ended, and the queue is empty
            return 0;
        }
        report_footprint(shared, 0);
    }
}

int use_bus(ledger &shared, int locker, uint32_t incarnation) {
    const int lock = get_sem_lock("bus.lock", 1);
    const uint64_t me = static_cast<uint64_t>(locker) << 32 | incarnation;
    while (!shared.stop) {
        if (wait_sem_lock(lock, 0) != 0) {
            return 1;
        }
        const uint64_t before = shared.holder.exchange(me);
        if (before != 0 && static_cast<uint32_t>(before) > shared.doomed[before >> 32]) {
            ++shared.shared_turns;
        }
        uint16_t temperature = 0;
        const bool read = pca9548_enable_channel(0x7000, static_cast<uint8_t>(1 << locker % 2)) == 0 &&
                          car2512_get_temp(0x5800, &temperature) == 0;
        ++(read ? shared.readings : shared.failed_readings);
        ++shared.turns;
        shared.holder = 0;
        if (release_sem_lock(lock, 0) != 0) {
            return 1;
        }
        if (locker == 0) {
            report_footprint(shared, 1);
        }
        std::this_thread::sleep_for(1ms);
    }
    return 0;
}

int rotate_log(ledger &shared) {
    for (unsigned entry = 0; !shared.stop; ++entry) {
        log_str_size("small", 4096, "entry %u", entry);
        report_footprint(shared, 2);
        std::this_thread::sleep_for(1ms);
    }
    return 0;
}

// --- Transfers: a sender and two clients, each in a process of its own ---

namespace {

constexpr int clients = 2;

int send_file() {
    static struct {
        uint8_t count = clients;
        std::array<char, 8> path{"sent"};
    } order;
    pthread_t sender{};
    pthread_create(&sender, nullptr, lan_transfer_file, &order);
    pthread_join(sender, nullptr);
    return order.count;
}

/// 0: the complete file; 1: a beginning of it, perhaps empty; 2: other content.
int receive_file(const ledger &shared, const std::string &content, int client) {
    const std::string path = "received" + std::to_string(client);
    int result = 0;
    while ((result = mma_lan_transfer(path.c_str(), "127.0.0.1")) == LAN_TRANSFER_NO_CONNECTION &&
           !shared.sender_killed) {
        std::this_thread::sleep_for(1ms); // the sender does not listen yet
    }
    const std::string received = test::read_file(path).value_or("");
    unlink(path.c_str());
    if (received == content) {
        return 0;
    }
    return content.starts_with(received) ? 1 : 2;
}

void transfer_once(ledger &shared, const std::string &content, bool cut, std::chrono::microseconds delay) {
    shared.sender_killed = false;
    test::child_process sender(send_file);
    std::array<test::child_process, clients> receivers{
        test::child_process([&] { return receive_file(shared, content, 0); }),
        test::child_process([&] { return receive_file(shared, content, 1); })};
    if (cut) {
        std::this_thread::sleep_for(delay);
        sender.kill();
        shared.sender_killed = true;
        ++shared.cut_transfers;
    }
    for (test::child_process &each : receivers) {
        const int status = each.wait();
        const int result = WIFEXITED(status) ? WEXITSTATUS(status) : 2;
        ++(result == 2 || (result == 1 && !cut) ? shared.wrong_transfers : shared.transfers);
    }
    const int status = sender.wait();
    if (!cut && status != 0) {
        ++shared.wrong_transfers;
    }
}

} // namespace

int transfer_files(ledger &shared, unsigned seed) {
    std::mt19937 random(seed);
    std::string content(700000, '\0');
    std::ranges::generate(content, [&] { return static_cast<char>(random()); });
    test::write_file("sent", content);
    while (!shared.stop) {
        transfer_once(shared, content, random() % 4 == 0, std::chrono::microseconds(random() % 20000));
        report_footprint(shared, 3);
    }
    return 0;
}

} // namespace varnel::soak
