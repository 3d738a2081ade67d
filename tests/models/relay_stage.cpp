// SPDX-License-Identifier: Apache-2.0
// Senders and a controller, the simulator ipmi_sim with the last of its sessions free, in a network of their own.
#include "models/stages.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "platform/ipmi/bmc_servers.h"
#include "support/interposed.h"
#include "support/own_network.h"
#include "tools/varnel/controller_admin/controller_table_file.h"
#include "varnel/ipmi_relay.h"
#include "varnel/platform.h"

namespace varnel::models {

namespace {

using test::interposed;

constexpr std::size_t sessions_of_ipmi_sim = 63;
constexpr std::size_t free_sessions = 2;
constexpr int bmc = 1;
constexpr uint8_t slot = 0;

// Commands of oem_commands.c.
constexpr uint8_t refuse = 0x13;
constexpr uint8_t drop = 0x14; // [tag, n]: does not answer the first n
constexpr uint8_t executions = 0x16;

struct command {
    uint8_t code;
    std::vector<uint8_t> data;
};

/// By the number that the model gives the kind.
command command_of(int sender, char kind) {
    const auto tag = static_cast<uint8_t>(sender);
    const std::array commands{command{drop, {tag, 0}}, command{refuse, {0xD5}}, command{drop, {tag, 255}}};
    return commands.at(static_cast<std::size_t>(kind - '0'));
}

/// A session as a daemon keeps one.
struct kept_session {
    bmc_session_info login{};
    std::array<uint8_t, 32> block{};

    kept_session() { get_bmc_session_info(bmc, &login); }
    bool open() { return lan_create_session(&login, block.data()) == 0; }
    void close() { lan_close_session(block.data()); }

    /// The response's data, or nothing.
    std::vector<uint8_t> send(command what) {
        std::vector<uint8_t> response(64);
        auto length = static_cast<uint32_t>(response.size());
        const uint16_t status = LIBIPMI_Send_RAW_IPMI2_0_Command(
            block.data(), 0, 0x38, what.code, what.data.data(), static_cast<uint32_t>(what.data.size()),
            response.data(), &length, 10);
        response.resize(status == 0 ? length : 0);
        return response;
    }
};

/// The table of controllers: both addresses are the simulator's.
class controllers {
  public:
    controllers(const std::string &name, uint32_t retransmit_after_ms)
        : name_("/varnel-test-models-" + name + std::to_string(getpid())) {
        tools::controller_records records{};
        for (platform::controller_record &record : records) {
            record.present = 1;
            std::ranges::copy(test::bmc_address(0), record.address.begin());
            std::ranges::copy(std::string("admin"), record.login.begin() + LOGIN_USER_NAME_OFFSET);
            std::ranges::copy(std::string("secret"), record.login.begin() + LOGIN_PASSWORD_OFFSET);
            record.give_up_after_ms = retransmit_after_ms + 100;
            record.retransmit_after_ms = retransmit_after_ms;
        }
        tools::publish_controller_table(records, name_);
    }
    ~controllers() { shm_unlink(name_.c_str()); }
    controllers(const controllers &) = delete;
    controllers &operator=(const controllers &) = delete;

    void use() const { setenv("VARNEL_DEVICE_TABLE", name_.c_str(), 1); }

  private:
    std::string name_;
};

class relay_objects {
  public:
    relay_objects() : simulator_(in_own_network()) {
        patient_.use();
        others_.resize(sessions_of_ipmi_sim - free_sessions);
        if (!std::ranges::all_of(others_, &kept_session::open)) {
            throw std::runtime_error("ipmi_sim has fewer sessions");
        }
    }
    ~relay_objects() { std::ranges::for_each(others_, &kept_session::close); }
    relay_objects(const relay_objects &) = delete;
    relay_objects &operator=(const relay_objects &) = delete;

    /// FUNCTION or FUNCTION:KIND
    long perform(int sender, const std::string &function) {
        const auto colon = function.find(':');
        if (colon != std::string::npos) {
            return send(sender, function.substr(0, colon), function.at(colon + 1));
        }
        if (function == "get_bmc_session_info") {
            return get_bmc_session_info(bmc, &kept_.login);
        }
        if (function == "lan_close_session") {
            return lan_close_session(kept_.block.data());
        }
        return function == "lan_create_session"
                   ? lan_create_session(&kept_.login, kept_.block.data())
                   : lan_create_session_over_udp(&kept_.login, kept_.block.data());
    }

    /// "executed pN = COUNT" or "sessions = FREE"
    std::string observe(const words &line) {
        if (line.at(0) == "sessions") {
            return "sessions = " + std::to_string(count_free_sessions());
        }
        const auto tag = static_cast<uint8_t>(line.at(1).at(1) - '0');
        return "executed " + line[1] + " = " +
               std::to_string(others_.front().send({executions, {tag}}).at(1));
    }

  private:
    static int in_own_network() {
        static const std::string reason = test::enter_own_network();
        if (!reason.empty()) {
            throw unavailable(reason);
        }
        return 1;
    }

    long send(int sender, const std::string &function, char kind) {
        command what = command_of(sender, kind);
        if (function == "LIBIPMI_Send_RAW_IPMI2_0_Command") {
            return kept_.send(what).empty() ? -1 : 0;
        }
        (what.data.back() == 255 ? hurried_ : patient_).use();
        std::array<uint8_t, 64> response{};
        uint32_t length = response.size();
        const auto size = static_cast<uint32_t>(what.data.size());
        return function == "smc_send_command_to_bmc"
                   ? smc_send_command_to_bmc(slot, what.code, what.data.data(), size, response.data(),
                                             &length)
                   : bmc_send_command_to_smc(what.code, what.data.data(), size, response.data(), &length);
    }

    static std::size_t count_free_sessions() {
        std::vector<kept_session> tried(free_sessions + 1);
        const auto refused = std::ranges::find_if_not(tried, &kept_session::open);
        std::for_each(tried.begin(), refused, [](kept_session &each) { each.close(); });
        return static_cast<std::size_t>(refused - tried.begin());
    }

    controllers patient_{"patient", 10'000};
    controllers hurried_{"hurried", 400}; ///< for commands that are not answered
    test::simulated_bmcs simulator_;
    std::vector<kept_session> others_;
    kept_session kept_; ///< the daemon's
};

interposed<uint16_t(void *, const char *, uint16_t, const char *, const char *, uint8_t, uint8_t *, uint8_t *,
                    uint8_t *, uint8_t, uint8_t, uint8_t, uint8_t, uint8_t, uint8_t)>
    create_call("LIBIPMI_Create_IPMI20_Session");
interposed<uint16_t(void *, uint8_t, uint8_t, uint8_t, uint8_t *, uint32_t, uint8_t *, uint32_t *, int)>
    send_call("LIBIPMI_Send_RAW_IPMI2_0_Command");
interposed<uint16_t(void *)> close_call("LIBIPMI_CloseSession");

// Not steps: they only look up the login.
interposed<uint8_t *(int)> shared_memory_call("smc_get_shared_memory");
interposed<int(int, char *)> address_call("get_device_ip");

/// Reports 0, or 1 for a failure: other controllers have other statuses.
template <typename call>
uint16_t platform_step(std::string_view name, call take) {
    if (!acting()) {
        return take();
    }
    stop_before(name);
    const uint16_t status = [&] {
        const indivisible inside;
        return take();
    }();
    report_result(name, status == 0 ? 0 : 1);
    return status;
}

} // namespace

stage relay_stage() {
    const auto objects = std::make_shared<relay_objects>();
    return {
        {{0}, {1}, {2}},
        [objects](int sender) {
            return [=](const std::string &function) { return objects->perform(sender, function); };
        },
        [objects](const words &line) { return objects->observe(line); },
    };
}

} // namespace varnel::models

using namespace varnel::models;

uint8_t *smc_get_shared_memory(int dev_id) {
    const indivisible inside;
    return shared_memory_call(dev_id);
}

int get_device_ip(int dev_id, char *ip) {
    const indivisible inside;
    return address_call(dev_id, ip);
}

uint16_t LIBIPMI_Create_IPMI20_Session(void *session, const char *host, uint16_t port, const char *user_name,
                                       const char *password, uint8_t argument6, uint8_t *argument7,
                                       uint8_t *argument8, uint8_t *privilege, uint8_t argument10,
                                       uint8_t argument11, uint8_t argument12, uint8_t argument13,
                                       uint8_t argument14, uint8_t timeout) {
    return platform_step("LIBIPMI_Create_IPMI20_Session", [=] {
        return create_call(session, host, port, user_name, password, argument6, argument7, argument8,
                           privilege, argument10, argument11, argument12, argument13, argument14, timeout);
    });
}

uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *session, uint8_t lun, uint8_t net_function, uint8_t cmd,
                                          uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len,
                                          int timeout) {
    return platform_step("LIBIPMI_Send_RAW_IPMI2_0_Command", [=] {
        return send_call(session, lun, net_function, cmd, req, req_len, res, res_len, timeout);
    });
}

uint16_t LIBIPMI_CloseSession(void *session) {
    return platform_step("LIBIPMI_CloseSession", [=] { return close_call(session); });
}
