// SPDX-License-Identifier: Apache-2.0
// A server and two clients in a network of their own.
#include "models/stages.h"

#include <csignal>
#include <cstdlib>
#include <memory>

#include <pthread.h>

#include "support/own_network.h"
#include "support/scratch_folder.h"
#include "varnel/lan_transfer.h"

namespace varnel::models {

namespace {

constexpr std::size_t part = LAN_TRANSFER_CHUNK / 2;
constexpr int server = 0;

/// Part n consists of bytes n.
std::string file_of(std::size_t parts) {
    std::string all;
    for (std::size_t n = 1; n <= parts; ++n) {
        all.append(part, static_cast<char>(n));
    }
    return all;
}

/// lan_transfer_file() does not return: "returns" is what its thread leaves in the count.
void report_count(void *order) { report_result("returns", static_cast<lan_transfer_arg *>(order)->count); }

class transfer_objects {
  public:
    transfer_objects() {
        static const std::string reason = test::enter_own_network();
        if (!reason.empty()) {
            throw unavailable(reason);
        }
    }

    /// "lan_transfer_file:COUNT:CHUNKS" or "mma_lan_transfer"
    long perform(int actor, const std::string &function) {
        if (actor != server) {
            return mma_lan_transfer(received_by(actor).c_str(), "127.0.0.1");
        }
        const auto colon = function.find(':');
        serve(function.at(colon + 1), static_cast<std::size_t>(std::stoi(function.substr(colon + 3))));
    }

    /// "file of pN: PARTS parts"
    [[nodiscard]] std::string observe(const words &line) const {
        const std::string content = test::read_file(received_by(line.at(2).at(1) - '0')).value_or("");
        const std::size_t parts = content.size() / part;
        return "file of " + line[2] +
               (content == file_of(parts) ? " " + std::to_string(parts) + " parts" : " another");
    }

  private:
    [[noreturn]] void serve(char count, std::size_t chunks) {
        test::write_file(folder_.file("sent"), file_of(2 * chunks));
        order_.assign(1, static_cast<char>(count - '0'));
        order_.append(folder_.file("sent")).push_back('\0');
        pthread_key_t at_end{};
        pthread_key_create(&at_end, report_count);
        pthread_setspecific(at_end, order_.data());
        lan_transfer_file(order_.data());
        std::abort();
    }

    [[nodiscard]] std::string received_by(int actor) const {
        return folder_.file("received" + std::to_string(actor));
    }

    test::scratch_folder folder_;
    std::string order_; ///< a lan_transfer_arg
};

} // namespace

stage transfer_stage() {
    const auto objects = std::make_shared<transfer_objects>();
    return {
        {{server}, {1}, {2}},
        [objects](int actor) {
            std::signal(SIGPIPE, SIG_DFL);
            return [=](const std::string &function) { return objects->perform(actor, function); };
        },
        [objects](const words &line) { return objects->observe(line); },
    };
}

} // namespace varnel::models
