// SPDX-License-Identifier: Apache-2.0
// varnel-sim web: the board in a browser.

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "host/duration.h"
#include "host/held_signals.h"
#include "host/line_output.h"
#include "host/standard_streams.h"
#include "sim/board/fault_kinds.h"
#include "sim/tool/board_access.h"
#include "sim/tool/board_feed.h"
#include "sim/tool/options.h"
#include "sim/tool/own_library.h"
#include "sim/tool/page_words.h"
#include "sim/tool/register_tables.h"
#include "sim/tool/time_control.h"
#include "sim/tool/trace_encoder.h"
#include "sim/web/page_server.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr const char *page_library = "libvarnel_sim_web.so";
/// How often the board is looked at while a page is open.
constexpr milliseconds sampling_period{100};
/// How often pages are told what crossed the buses.
constexpr milliseconds publishing_period{50};
/// Transfers before the first page that the board still has.
constexpr uint64_t past_transfers = 4096;
constexpr uint64_t highest_port = 65535;

/// What people may make chips do, for the forms of the page.
json fault_list() {
    json kinds = json::array();
    for (const fault_facts &each : fault_kinds()) {
        const parameter_facts *const parameter = facts_of(each.parameter);
        kinds.push_back({{"name", each.name},
                         {"effect", each.effect},
                         {"option", parameter != nullptr ? json(parameter->option) : json()},
                         {"what", parameter != nullptr ? json(parameter->what) : json()}});
    }
    return kinds;
}

json introduction_of(board_access &board) {
    json introduction = board.request({{"command", "hello"}});
    introduction["faults"] = fault_list();
    introduction["types"] = register_tables(board.request({{"command", "show"}}));
    return introduction;
}

/// The board for the page server, whose threads call it.
class board_page : public web::page_source {
  public:
    explicit board_page(const json &introduction)
        : file_(introduction.at("file")), is_virtual_(introduction.at("virtual_time")), feed_(introduction) {
        tell_time();
    }

    board_feed &feed() { return feed_; }

    std::string events_after(uint64_t &seen, milliseconds limit) override {
        return feed_.events_after(seen, limit);
    }
    bool ended() override { return feed_.ended(); }

    std::optional<web::answer> get(const std::string &name) override {
        if (name == "trace.json") {
            return download(make_json_encoder(), "application/x-ndjson");
        }
        if (name == "trace.pcapng") {
            return download(make_pcap_encoder(), "application/x-pcapng");
        }
        return std::nullopt;
    }

    /// {"words": [WORD...]} -> {}, or {"error": LINE}.
    std::optional<web::answer> post(const std::string &name, const std::string &body) override {
        if (name != "words") {
            return std::nullopt;
        }
        const std::lock_guard lock(changing_);
        try {
            carry_out(words_in(body));
            return web::answer{"{}"};
        } catch (const bad_usage &refusal) {
            return failed(400, refusal);
        } catch (const std::exception &problem) {
            return failed(500, problem);
        }
    }

  private:
    static web::answer failed(int status, const std::exception &problem) {
        return {json{{"error", problem.what()}}.dump(-1, ' ', false, json::error_handler_t::replace),
                "application/json", status};
    }

    static std::vector<std::string> words_in(const std::string &body) {
        const json request = json::parse(body, nullptr, false);
        if (!request.is_object() || !request.contains("words") || !request["words"].is_array()) {
            throw bad_usage("not {\"words\": [WORD...]}");
        }
        std::vector<std::string> words;
        for (const json &word : request["words"]) {
            if (!word.is_string()) {
                throw bad_usage(fmt::format("not a word: {}", word.dump()));
            }
            words.push_back(word);
        }
        return words;
    }

    void carry_out(const std::vector<std::string> &words) {
        if (!words.empty() && words.front() == "power") {
            switch_power(words);
        } else if (!words.empty() && words.front() == "time") {
            move_time(words);
        } else {
            run_page_words(file_, words);
        }
    }

    /// "power off": all chips lose it. "power on": those that had it start anew.
    void switch_power(const std::vector<std::string> &words) {
        const bool on = words.size() == 2 && words[1] == "on";
        if (!on && (words.size() != 2 || words[1] != "off")) {
            throw bad_usage("'power' is followed by: on, or off");
        }
        if (on != !powered_.empty()) {
            throw bad_usage(on ? "the board has power" : "the board has no power");
        }
        board_access board = find_board(file_);
        if (!on) {
            powered_ = plugged_chips(board);
        }
        board.request({{"command", "plug"}, {"chips", powered_}, {"plugged", on}});
        if (on) {
            powered_.clear();
        }
    }

    static std::vector<std::string> plugged_chips(board_access &board) {
        std::vector<std::string> names;
        const json status = board.request({{"command", "show"}});
        for (const auto &[name, chip] : status.at("chips").items()) {
            if (chip.at("plugged")) {
                names.push_back(name);
            }
        }
        return names;
    }

    /// "time pause", "time step 10ms", "time next", "time go".
    void move_time(const std::vector<std::string> &words) {
        const std::string what = words.size() > 1 ? words[1] : "";
        const auto step = words.size() == 3 && what == "step" ? duration(words[2]) : std::nullopt;
        if (step && step->count() > 0) {
            time_.step(*step);
        } else if (words.size() == 2 && what == "pause") {
            time_.pause();
        } else if (words.size() == 2 && what == "next") {
            time_.run_to_next_event();
        } else if (words.size() == 2 && what == "go") {
            time_.go_on();
        } else {
            throw bad_usage("'time' is followed by: pause, step and a time, next, or go");
        }
        tell_time();
    }

    void tell_time() {
        if (is_virtual_) {
            feed_.add_time({{"paused", time_.is_paused()}});
        }
    }

    web::answer download(std::unique_ptr<trace_encoder> encoder, const char *type) {
        web::answer file{encoder->beginning(), type};
        for (const std::string &transfer : feed_.transfers()) {
            file.body += encoder->transfer(json::parse(transfer));
        }
        file.body += encoder->end();
        return file;
    }

    std::string file_;
    bool is_virtual_;
    board_feed feed_;
    time_control time_{file_};
    std::mutex changing_ = {};
    std::vector<std::string> powered_ = {}; ///< chips that had power before it was switched off
};

/// Reads the board for all pages.
class board_reader {
  public:
    board_reader(board_access control, board_access trace, board_feed &feed)
        : control_(std::move(control)), trace_(std::move(trace)), feed_(feed) {
        trace_.request({{"command", "trace"}, {"last", past_transfers}, {"follow", true}});
        feed_.add_status(control_.request({{"command", "show"}}));
    }

    /// Until the user interrupts it or the board ends.
    void read(const host::held_signals &signals) {
        try {
            while (signals.next_within(milliseconds(0)) == 0) {
                pollfd news{trace_.link().get(), POLLIN, 0};
                if (poll(&news, 1, static_cast<int>(publishing_period.count())) > 0) {
                    take_in(trace_.receive());
                }
                tell_pages();
            }
        } catch (const board_ended &) {
        }
        feed_.end();
    }

  private:
    void take_in(const json &message) {
        if (message.contains("transfer")) {
            feed_.add_transfer(message.at("transfer"));
        } else if (message.contains("lost")) {
            feed_.add_lost(message.at("lost"));
        }
    }

    void tell_pages() {
        const auto now = steady_clock::now();
        if (now - published_ >= publishing_period) {
            feed_.publish_transfers();
            published_ = now;
        }
        if (now - sampled_ >= sampling_period && feed_.is_watched()) {
            feed_.add_status(control_.request({{"command", "show"}}));
            sampled_ = now;
        }
    }

    board_access control_;
    board_access trace_;
    board_feed &feed_;
    steady_clock::time_point published_ = {};
    steady_clock::time_point sampled_ = {};
};

std::unique_ptr<web::page_server> serve(web::page_source &source, int port) {
    void *const library = dlopen(own_library(page_library).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    const auto make = reinterpret_cast<web::page_server_maker *>(dlsym(library, web::page_server_maker_name));
    if (make == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return std::unique_ptr<web::page_server>(make(&source, port));
}

struct web_options {
    uint64_t port = 0;
    bool open = false;
};

/// Opens the page in the user's browser by a file that only the user can read: other users see the arguments of processes, and
/// the address has the token.
class opened_page {
  public:
    opened_page(const std::string &board, const std::string &address)
        : file_(fmt::format("{}-{}.html", meeting_point::of_board(board).socket_path(), getpid())) {
        const host::descriptor made(
            open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        const std::string page =
            fmt::format("<meta http-equiv=\"refresh\" content=\"0; url={}\">\n", address);
        if (!made.is_open() ||
            write(made.get(), page.data(), page.size()) != static_cast<ssize_t>(page.size())) {
            throw std::system_error(errno, std::generic_category(), file_);
        }
        start_browser();
    }
    ~opened_page() { unlink(file_.c_str()); }
    opened_page(const opened_page &) = delete;
    opened_page &operator=(const opened_page &) = delete;

  private:
    /// Without the signals that wait here.
    void start_browser() {
        std::string opener = "xdg-open";
        const std::array<char *, 3> words{opener.data(), file_.data(), nullptr};
        posix_spawnattr_t attributes{};
        sigset_t none{};
        sigemptyset(&none);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
        pid_t browser = 0;
        const int error = posix_spawnp(&browser, words[0], nullptr, &attributes, words.data(), environ);
        posix_spawnattr_destroy(&attributes);
        if (error != 0) {
            host::say(fmt::format("varnel-sim: {}: {}", opener, std::generic_category().message(error)));
        }
    }

    std::string file_;
};

void web(const invocation &call, const web_options &options) {
    const host::held_signals signals; // the server's threads leave them to this one
    board_access control = find_board(call.board);
    const json introduction = introduction_of(control);
    const std::string file = introduction.at("file");
    board_page page(introduction);
    board_reader reader(std::move(control), find_board(file), page.feed());
    const auto server = serve(page, static_cast<int>(options.port));
    host::line_output("-").print(server->address());
    std::unique_ptr<opened_page> opened;
    if (options.open) {
        opened = std::make_unique<opened_page>(file, server->address());
    }
    reader.read(signals);
}

} // namespace

void add_web(argument_parser app, invocation &call) {
    auto options = std::make_shared<web_options>();
    const argument_parser command =
        add_command(app, "web", "Show the board in a browser, until interrupted; prints the page's address",
                    call, [&call, options] { web(call, *options); });
    add_number(command, "--port", options->port, {1, highest_port}, "of this machine; default: a free one");
    command.add_flag("--open", options->open, "open the page with xdg-open");
}

} // namespace varnel::sim::tool
