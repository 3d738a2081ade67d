// SPDX-License-Identifier: Apache-2.0
// varnel send: a file for other controllers to fetch.

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "host/descriptor.h"
#include "host/options.h"
#include "tools/varnel/library_thread.h"
#include "tools/varnel/progress_bar.h"
#include "tools/varnel/verb.h"
#include "varnel/lan_transfer.h"

namespace varnel::tools {

namespace {

constexpr uint64_t most_clients = 255;
constexpr std::chrono::milliseconds redraw_interval{100};

struct stat checked_file(const std::string &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.is_open() || fstat(file.get(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw failed(fmt::format("{}: not a regular file", path));
    }
    if (status.st_size > std::numeric_limits<int32_t>::max()) {
        throw failed(fmt::format("{}: 2 GiB or more: too large for this transfer", path));
    }
    return status;
}

/// The library would end without a message.
void check_port() {
    const descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_port = htons(LAN_TRANSFER_PORT);
    if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                fmt::format("port {}", static_cast<int>(LAN_TRANSFER_PORT)));
    }
}

/// How far the library has read the file, from the outside: the position of its descriptor.
class file_position {
  public:
    explicit file_position(const struct stat &file) : file_(file) {}

    uint64_t get() {
        if (descriptor_ < 0) {
            descriptor_ = find();
        }
        const off_t position = lseek(descriptor_, 0, SEEK_CUR);
        return position > 0 ? static_cast<uint64_t>(position) : 0;
    }

  private:
    [[nodiscard]] int find() const {
        for (int number = STDERR_FILENO + 1; number < some_descriptors; ++number) {
            struct stat each {};
            if (fstat(number, &each) == 0 && each.st_dev == file_.st_dev && each.st_ino == file_.st_ino) {
                return number;
            }
        }
        return -1;
    }

    static constexpr int some_descriptors = 64;
    struct stat file_;
    int descriptor_ = -1;
};

/// What lan_transfer_file() is given; alive as long as its thread.
class transfer_order {
  public:
    transfer_order(const std::string &path, uint8_t clients)
        : bytes_(sizeof(lan_transfer_arg) + path.size() + 1) {
        bytes_[0] = static_cast<char>(clients);
        path.copy(bytes_.data() + offsetof(lan_transfer_arg, path), path.size());
    }
    [[nodiscard]] void *get() { return bytes_.data(); }
    [[nodiscard]] unsigned int clients_to_come() {
        return std::atomic_ref(reinterpret_cast<lan_transfer_arg *>(bytes_.data())->count).load();
    }

  private:
    std::vector<char> bytes_;
};

/// Progress of the sender: the client it waits for, or the bytes sent so far.
class server_view {
  public:
    server_view(const struct stat &file, unsigned int clients)
        : position_(file), size_(static_cast<uint64_t>(file.st_size)), clients_(clients), left_(clients) {}

    void show(unsigned int left) {
        const uint64_t position = position_.get();
        if (left != left_) {
            left_ = left;
            at_rest_ = position; // where the one before left it
        }
        if (left != 0) {
            show_client(clients_ - left + 1, position);
        }
    }

    void finish(const std::string &path) {
        bar_.say(fmt::format("{}: served to {} client{}", path, clients_, clients_ == 1 ? "" : "s"));
    }

  private:
    void show_client(unsigned int client, uint64_t position) {
        const std::string who = fmt::format("client {} of {}", client, clients_);
        if (position == at_rest_) {
            bar_.say(fmt::format("waiting for {}", who));
        } else {
            at_rest_ = never;
            bar_.show(who, position, size_);
        }
    }

    static constexpr uint64_t never = std::numeric_limits<uint64_t>::max();
    progress_bar bar_;
    file_position position_;
    uint64_t size_;
    unsigned int clients_;
    unsigned int left_;
    uint64_t at_rest_ = 0;
};

void send(const std::string &path, unsigned int clients) {
    const struct stat file = checked_file(path);
    check_port();
    transfer_order what(path, static_cast<uint8_t>(clients));
    library_thread thread(lan_transfer_file, what.get());
    server_view view(file, clients);
    while (!thread.ended_within(redraw_interval)) {
        view.show(what.clients_to_come());
    }
    if (what.clients_to_come() != 0) {
        throw failed(
            fmt::format("{}: stopped with {} of {} clients to come", path, what.clients_to_come(), clients));
    }
    view.finish(path);
}

struct options {
    std::string file;
    uint64_t clients = 1;
};

} // namespace

void add_send(argument_parser app, invocation &call) {
    const auto sending = verbs<options>(app, call).add(
        "send", "Serve a file over TCP to clients that fetch it, one after another",
        [](const options &given) { send(given.file, static_cast<unsigned int>(given.clients)); });
    sending.parser.add_note("Nothing is authenticated. Clients connect over IPv4.");
    sending.parser.add_option("FILE", sending.given.file, "the file, less than 2 GiB").required();
    add_number(sending.parser, "--clients", sending.given.clients, {1, most_clients},
               "how many; one that disconnects early counts, too (default 1)");
}

} // namespace varnel::tools
