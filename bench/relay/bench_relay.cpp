// SPDX-License-Identifier: Apache-2.0
// Relaying a command to a BMC: ours with its platform for Linux, and libfreeipmi, which that platform calls,
// used directly. The BMCs are simulated by ipmi_sim, in a network of the benchmark's own that has only a
// loopback. Latency of one relay, and the time of one relay to each of up to 256 BMCs at the same time, the
// maximum number of slots.
//
// bench_relay [--json FILE] [latency|growth]...
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <freeipmi/freeipmi.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include "controller_table_file.h"
#include "platform/ipmi/bmc_servers.h"
#include "platform/namespaces.h"
#include "support/processes.h"
#include "support/results.h"
#include "varnel/ipmi_relay.h"

namespace {

using namespace varnel::bench;
using varnel::platform::controller_record;
using varnel::test::bmc_address;
using varnel::test::simulated_bmcs;

constexpr uint8_t relay_function = 0x38;
constexpr uint8_t echo = 0x10; // of the simulator's plug-in: answers the request's data
constexpr std::array<uint8_t, 16> request{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr const char *user = "admin";
constexpr const char *password = "secret";
constexpr uint8_t suite = 3; // the simulator's only one

void require(bool done, const std::string &what) {
    if (!done) {
        throw std::runtime_error(what + " failed");
    }
}

/// The controller table with the BMCs. With `cipher_suite` 0 the platform has to find out which one they
/// accept.
class controller_table {
  public:
    explicit controller_table(uint8_t cipher_suite)
        : name_("/varnel-bench-relay-" + std::to_string(getpid())) {
        auto records = std::make_unique<varnel::tools::controller_records>();
        for (std::size_t slot = 0; slot + 1 < records->size(); ++slot) {
            controller_record &bmc = (*records)[slot + 1];
            const std::string address = bmc_address(static_cast<int>(slot));
            bmc.present = 1;
            bmc.cipher_suite = cipher_suite;
            std::ranges::copy(address, bmc.address.begin());
            std::ranges::copy(std::string(user), bmc.login.begin() + LOGIN_USER_NAME_OFFSET);
            std::ranges::copy(std::string(password), bmc.login.begin() + LOGIN_PASSWORD_OFFSET);
        }
        varnel::tools::publish_controller_table(*records, name_);
        setenv(varnel::platform::table_name_variable, name_.c_str(), 1);
    }
    ~controller_table() { shm_unlink(name_.c_str()); }
    controller_table(const controller_table &) = delete;
    controller_table &operator=(const controller_table &) = delete;

  private:
    std::string name_;
};

void relay(int slot) {
    std::array<uint8_t, 64> response{};
    auto length = static_cast<uint32_t>(response.size());
    std::array<uint8_t, request.size()> sent = request;
    require(smc_send_command_to_bmc(static_cast<uint8_t>(slot), echo, sent.data(), sent.size(),
                                    response.data(), &length) == 0 &&
                length == 1 + request.size() &&
                std::equal(request.begin(), request.end(), response.begin() + 1),
            "a relay to slot " + std::to_string(slot));
}

/// A session of libfreeipmi with the parameters that libvarnel_platform_ipmi uses.
class bare_session {
  public:
    explicit bare_session(int slot) : context_(ipmi_ctx_create()) {
        constexpr unsigned int retransmit_after_ms = 2500;
        constexpr unsigned int give_up_after_ms = 2600;
        require(context_ != nullptr, "ipmi_ctx_create");
        if (ipmi_ctx_open_outofband_2_0(context_, (bmc_address(slot) + ":623").c_str(), user, password,
                                        nullptr, 0, IPMI_PRIVILEGE_LEVEL_ADMIN, suite, give_up_after_ms,
                                        retransmit_after_ms,
                                        IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE, 0) != 0) {
            const std::string error = ipmi_ctx_errormsg(context_);
            ipmi_ctx_destroy(context_);
            throw std::runtime_error("libfreeipmi opens no session: " + error);
        }
    }
    ~bare_session() {
        (void)ipmi_ctx_close(context_);
        ipmi_ctx_destroy(context_);
    }
    bare_session(const bare_session &) = delete;
    bare_session &operator=(const bare_session &) = delete;

    void send() const {
        std::array<uint8_t, 1 + request.size()> sent{echo};
        std::ranges::copy(request, sent.begin() + 1);
        std::array<uint8_t, 64> response{};
        const int length = ipmi_cmd_raw(context_, 0, relay_function, sent.data(), sent.size(),
                                        response.data(), response.size());
        require(length == 2 + static_cast<int>(request.size()) && response[1] == 0 &&
                    std::equal(request.begin(), request.end(), response.begin() + 2),
                "a command through libfreeipmi");
    }

  private:
    ipmi_ctx_t context_;
};

void relay_bare(int slot) { bare_session(slot).send(); }

double milliseconds(const std::function<void()> &work) {
    const double begin = now();
    work();
    return (now() - begin) * 1000;
}

constexpr int relays = 20;

double milliseconds_each(const std::function<void()> &work) {
    return milliseconds([&] {
               for (int i = 0; i < relays; ++i) {
                   work();
               }
           }) /
           relays;
}

double found_suite() {
    const controller_table table(0);
    return milliseconds_each([] { relay(0); });
}

double known_suite() {
    const controller_table table(suite);
    return milliseconds_each([] { relay(0); });
}

double within_session() {
    const bare_session session(0);
    return milliseconds_each([&] { session.send(); });
}

void latency(results &found) {
    const simulated_bmcs bmc;
    (void)found_suite(); // the first sessions of a process take longer and are not measured
    found.add(figure{
        "relay.latency", "Relaying one command to a BMC", "ms", better::lower,
        "Find the login, open an IPMI 2.0 session, send 16 bytes and get them back, close: mean "
        "of 20 relays to ipmi_sim on loopback. libfreeipmi gets login and cipher suite 3 from the "
        "caller; ours looks both up in the controller table. Without a suite in the table ours "
        "tries 17 first, which this BMC refuses. The floor is only the command, in an open "
        "session.",
        interleaved(11, {{"smc_send_command_to_bmc", role::ours, known_suite},
                         {"the same, suite not in the table", role::ours, found_suite},
                         {"libfreeipmi", role::peer, [] { return milliseconds_each([] { relay_bare(0); }); }},
                         {"libfreeipmi, session already open", role::floor, within_session}})});
}

/// One relay to each of `count` BMCs, each in a thread of its own.
double milliseconds_in_parallel(int count, void (*run)(int slot)) {
    std::atomic<int> failures = 0;
    const double taken = milliseconds([&] {
        std::vector<std::jthread> threads;
        threads.reserve(static_cast<std::size_t>(count));
        for (int slot = 0; slot < count; ++slot) {
            threads.emplace_back([&failures, run, slot] {
                try {
                    run(slot);
                } catch (const std::exception &) {
                    ++failures;
                }
            });
        }
    });
    require(failures == 0, std::to_string(failures) + " of " + std::to_string(count) + " relays in parallel");
    return taken;
}

void parallel_growth(results &found) {
    constexpr int served_by_one = 64;
    std::vector<std::unique_ptr<simulated_bmcs>> all;
    for (int first = 0; first < 256; first += served_by_one) {
        all.push_back(std::make_unique<simulated_bmcs>(served_by_one, first));
    }
    const controller_table table(suite);
    relay(0); // see latency()
    const std::vector<double> sizes{1, 10, 100, 256};
    found.add(growth{
        "relay.bmcs", "One command to each BMC, all at once", "BMCs", "ms",
        "Time until all threads, one for each BMC, have relayed a command as in relay.latency and ended. 256 "
        "BMCs are the maximum. They are served by four processes of ipmi_sim on the same machine, whose work "
        "is "
        "part of the time for both.",
        sizes, measured_growth(9, sizes, [](std::size_t size) -> std::vector<contender> {
            const int count = static_cast<int>(size);
            return {
                {"smc_send_command_to_bmc", role::ours,
                 [count] { return milliseconds_in_parallel(count, relay); }},
                {"libfreeipmi", role::peer, [count] { return milliseconds_in_parallel(count, relay_bare); }}};
        })});
}

/// Enters the network once, before anything else: a process with several threads cannot.
std::function<void(results &)> in_own_network(void (*run)(results &)) {
    return [run](results &found) {
        static const bool entered = varnel::test::enter_namespaces(CLONE_NEWNET);
        require(entered, "entering a network of its own (as root, or in a user namespace)");
        ipmi_rmcpplus_init();
        run(found);
    };
}

} // namespace

int main(int argc, char **argv) {
    const family relays_family{
        "relay", "Relay",
        "Commands to BMCs over IPMI 2.0 sessions. Our platform for Linux uses libfreeipmi, so this shows the "
        "cost above libfreeipmi. The BMCs are simulated on the same machine."};
    return run_benchmark(argc, argv,
                         {{"latency", in_own_network(latency)}, {"growth", in_own_network(parallel_growth)}},
                         {relays_family});
}
