// SPDX-License-Identifier: Apache-2.0
#include "sim/server/server.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sim/board/trace.h"
#include "sim/protocol/board_json.h"
#include "sim/protocol/fault_json.h"
#include "sim/protocol/message.h"
#include "sim/server/combined.h"

namespace varnel::sim {

namespace {

/// How soon a server that is no longer needed looks again whether anybody is just joining.
constexpr int idle_ms = 50;
constexpr int forever = -1;
/// How often wires are looked at while a program waits for edges of pins: a chip may assert its output with time.
constexpr auto wire_period = std::chrono::milliseconds(50);
/// How long a client may take between the messages of one transfer.
constexpr auto longest_hold = std::chrono::seconds(1);
/// Replies that may wait for a client which asks without listening.
constexpr std::size_t most_replies = 16;
/// Descriptors of a server that are not for clients: three standard streams, the listening socket, a
/// connection that has just been accepted, and a file that is read or locked meanwhile.
constexpr std::size_t files_beside_clients = 6;
/// How often a driver tries to serve an interrupt that stays asserted.
constexpr int most_interrupts = 16;

timespec time_until(std::chrono::steady_clock::time_point deadline) {
    const std::chrono::nanoseconds left =
        std::max(std::chrono::nanoseconds::zero(),
                 std::chrono::nanoseconds(deadline - std::chrono::steady_clock::now()));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    return {static_cast<time_t>(seconds.count()),
            static_cast<decltype(timespec::tv_nsec)>((left - seconds).count())};
}

} // namespace

std::chrono::nanoseconds power_clock::now() const { return std::chrono::steady_clock::now() - power_on_; }

server::server(board powered, const board_time &time, std::string file, uint64_t file_hash,
               meeting_point here, descriptor listener, std::optional<replay> recording)
    : board_(std::move(powered)), time_(time), file_(std::move(file)), file_hash_(file_hash),
      here_(std::move(here)), listener_(std::move(listener)), replay_(std::move(recording)) {
    for (const gpiochip_place &place : board_.gpiochips()) {
        const auto number = static_cast<unsigned int>(gpiochips_.size());
        gpiochips_.emplace_back(
            number, place, [this](const transfer_request &request) { return transfer_for_driver(request); });
    }
}

void server::serve() {
    wait(forever);
    while (!ended_) {
        if (in_use() || !end()) {
            wait(in_use() ? forever : idle_ms);
        }
    }
}

/// Waits until something happens, and deals with it. After accept() failed, for want of memory for example,
/// the connection that waits does not wake us: it is tried again after a pause.
void server::wait(int timeout_ms) {
    std::vector<pollfd> watched{{listener_.get(), static_cast<short>(accept_later_ ? 0 : POLLIN), 0}};
    for (const client &who : clients_) {
        const int events = POLLIN | (who.waits_for_more(trace_) ? POLLOUT : 0);
        watched.push_back({hears(who) ? who.link.get() : -1, static_cast<short>(events), 0});
    }
    const auto deadline = next_deadline(accept_later_ ? idle_ms : timeout_ms);
    const timespec time = deadline ? time_until(*deadline) : timespec{};
    if (ppoll(watched.data(), watched.size(), deadline ? &time : nullptr, nullptr) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "ppoll");
        }
        return;
    }
    auto who = clients_.begin();
    for (auto seen = watched.begin() + 1; seen != watched.end(); ++seen, ++who) {
        if (hears(*who)) { // one of those before may have begun a transfer that goes on
            listen_to(*who, seen->revents);
        }
    }
    release_when_due();
    if (watches_wires()) {
        handle_interrupts();
    }
    give_turn();
    send_what_waits();
    clients_.remove_if([](const client &left) { return left.gone; });
    if (accept_later_ || watched.front().revents != 0) {
        accept_all();
    }
}

/// During a transfer that goes on, only its client.
bool server::hears(const client &who) const { return held_.who == nullptr || held_.who == &who; }

/// When there is something to do although nobody asks: after the time-out, when a transfer that goes on has to end or a
/// reply is due, and now and then while somebody waits for what wires bring; nothing: never.
std::optional<std::chrono::steady_clock::time_point> server::next_deadline(int timeout_ms) const {
    auto next = std::chrono::steady_clock::time_point::max();
    if (timeout_ms != forever) {
        next = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    }
    if (held_.who != nullptr) {
        next = std::min(next, held_.until);
    }
    for (const client &who : clients_) {
        next = std::min(next, who.reply_due().value_or(next));
    }
    if (watches_wires()) {
        next = std::min(next, std::chrono::steady_clock::now() + wire_period);
    }
    return next == std::chrono::steady_clock::time_point::max() ? std::nullopt : std::optional(next);
}

bool server::watches_wires() const {
    return held_.who == nullptr && board_.has_pin_wires() &&
           std::ranges::any_of(gpiochips_, &gpio::gpio_chip::detects);
}

/// Returns when the bus was free for a transfer, since power-on. The reply waits until the transfer is over; transfers on
/// other buses do not. In virtual time, all wait: time goes on by the transfer at once.
std::chrono::nanoseconds server::take_bus(const transfer_request &request, const transfer_outcome &outcome) {
    const auto duration = board_.duration(request, outcome);
    if (time_.movable != nullptr) {
        const auto begin = time_.clock.now();
        time_.movable->advance(begin + duration);
        return begin;
    }
    if (duration == std::chrono::nanoseconds::zero()) {
        return time_.clock.now();
    }
    const auto now = std::chrono::steady_clock::now();
    auto &busy_until = busy_until_[request.adapter];
    const auto begin = std::max(now, busy_until);
    busy_until = begin + duration;
    reply_due_ = std::max(reply_due_, busy_until);
    return time_.clock.now() + (begin - now);
}

void server::release_when_due() {
    if (held_.who != nullptr && (held_.who->gone || std::chrono::steady_clock::now() >= held_.until)) {
        held_ = {};
        handle_interrupts();
    }
}

/// The client whose turn it is; null as long as one of them is at work. Time does not move when none needs it to.
client *server::next_turn() {
    client *next = nullptr;
    bool driven = false;
    for (client &who : clients_) {
        if (who.keeps_time && !who.gone) {
            if (!who.turn) {
                return nullptr;
            }
            driven = driven || who.turn->drives;
            if (who.turn->until && (next == nullptr || *who.turn->until < *next->turn->until)) {
                next = &who;
            }
        }
    }
    return next != nullptr && (driven || *next->turn->until <= time_.clock.now()) ? next : nullptr;
}

void server::give_turn() {
    if (client *const next = next_turn()) {
        const turn_request turn = *std::exchange(next->turn, std::nullopt);
        time_.movable->advance(*turn.until);
        handle_interrupts();
        next->replies.push_back({{"turn", turn.number}, {"now", time_.clock.now().count()}});
    }
}

void server::send_what_waits() {
    for (client &who : clients_) {
        try {
            who.send_reply_when_due();
            who.send_more(trace_);
        } catch (const std::exception &) {
            who.gone = true;
        }
    }
}

void server::accept_all() {
    for (;;) {
        descriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.is_open()) {
            accept_later_ = errno != EAGAIN;
            return;
        }
        if (full()) {
            refuse(std::move(socket));
        } else {
            clients_.emplace_back(std::move(socket));
        }
    }
}

bool server::full() const {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    return clients_.size() + files_beside_clients > files.rlim_cur;
}

void server::refuse(descriptor socket) {
    const auto refusal = encode(reply_header{message_kind::refusal, protocol_version, -1, EMFILE, 0});
    channel refused(std::move(socket));
    refused.send(refusal, {});
}

/// A client that makes no sense is dropped; the board goes on.
void server::listen_to(client &who, int events) {
    if ((events & (POLLIN | POLLHUP | POLLERR)) == 0) {
        return;
    }
    try {
        do {
            answer_one(who);
        } while ((events & POLLHUP) != 0 && !who.gone); // what a client asked for last still counts
    } catch (const std::exception &) {
        who.gone = true;
    }
}

void server::answer_one(client &who) {
    const auto message = who.link.receive();
    reply_due_ = {};
    if (message.empty()) {
        who.gone = true;
    } else if (message_kind{message[0]} == message_kind::combined) {
        answer_combined(who, message);
    } else {
        held_ = {};
        board_.settle();
        answer_uncombined(who, message);
    }
    if (held_.who == nullptr) {
        handle_interrupts();
    }
}

void server::answer_uncombined(client &who, std::span<const uint8_t> message) {
    switch (message_kind{message[0]}) {
    case message_kind::control:
        return answer_control(who, message);
    case message_kind::gpio:
        return answer_gpio(who, message);
    default:
        return answer_transfer(who, message);
    }
}

void server::answer_transfer(client &who, std::span<const uint8_t> message) {
    if (message.size() < transfer_header::size) {
        throw std::runtime_error("truncated transfer");
    }
    const transfer_header header = decode_transfer(message.data());
    const auto kind = static_cast<uint8_t>(header.kind);
    const auto data = message.subspan(transfer_header::size);
    if (header.version != protocol_version || kind < 1 || kind > 3 || data.size() != header.write_length) {
        throw std::runtime_error("malformed transfer");
    }
    const transfer_request request{static_cast<operation>(kind - 1), header.adapter, header.address, data,
                                   header.read_length};
    const transfer_outcome outcome =
        replay_ ? replay_parts(who, std::span(&request, 1)).front() : board_.transfer(request);
    trace({{}, who.process, who.pid}, request, outcome);
    const std::span<const uint8_t> read = outcome.result < 0 ? std::span<const uint8_t>{} : outcome.read;
    const auto reply = encode(reply_header{message_kind::reply, protocol_version, outcome.result,
                                           outcome.error, static_cast<uint16_t>(read.size())});
    who.reply(reply_due_, reply, read);
}

void server::answer_combined(client &who, std::span<const uint8_t> message) {
    const combined_request request = decode_combined(message);
    std::unique_ptr<transaction> wire = std::exchange(held_, {}).wire;
    if (!request.continues) {
        wire.reset(); // a STOP, before anything else begins
        wire = board_.begin(request.adapter);
    }
    const std::vector<transfer_outcome> outcomes =
        replay_ ? replay_parts(who, request.parts, request.goes_on) : perform(wire.get(), request);
    const bool goes_on = request.goes_on && all_done(request.parts, outcomes);
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const bool stop = i + 1 == outcomes.size() && !goes_on;
        trace({{}, who.process, who.pid, stop}, request.parts[i], outcomes[i]);
    }
    if (goes_on) {
        held_ = {&who, std::move(wire),
                 std::max(std::chrono::steady_clock::now(), reply_due_) + longest_hold};
    }
    wire.reset();
    const auto [head, body] = encode_combined(request.parts, outcomes);
    who.reply(reply_due_, head, body);
}

std::vector<transfer_outcome> server::replay_parts(const client &who, std::span<const transfer_request> parts,
                                                   bool goes_on) {
    const std::size_t before = replay_->departures().size();
    std::vector<transfer_outcome> outcomes = replay_->perform(who.process, who.pid, parts, goes_on);
    for (const std::string &line : std::span(replay_->departures()).subspan(before)) {
        for (client &watcher : clients_) {
            if (watcher.watches_replay) {
                watcher.replies.push_back({{"departed", line}});
            }
        }
    }
    return outcomes;
}

void server::answer_gpio(client &who, std::span<const uint8_t> message) {
    if (message.size() < gpio_header::size || who.gpio == nullptr) {
        throw std::runtime_error("malformed GPIO request");
    }
    const auto structure = message.subspan(gpio_header::size);
    std::vector<uint8_t> data(structure.begin(), structure.end());
    std::unique_ptr<gpio::gpio_file> lines;
    const gpio_header header = decode_gpio(message.data());
    let_driver_act_for(who, header.pid);
    const int result = who.gpio->ioctl(header.request, data, lines);
    if (lines != nullptr) {
        who.gpio = std::move(lines);
    }
    const reply_header reply{message_kind::reply, protocol_version, result == 0 ? 0 : -1, -result,
                             static_cast<uint16_t>(result == 0 ? data.size() : 0)};
    who.reply(reply_due_, encode(reply), std::span(data).first(reply.read_length));
}

/// The lines that a client requests from a chip get a connection of their own, on which it opens the chip first.
server::json server::open_gpio(client &who, const json &request) {
    const std::size_t chip = request.at("chip");
    if (chip >= gpiochips_.size()) {
        return {{"result", -ENOENT}};
    }
    gpio::gpio_chip &opened = *std::next(gpiochips_.begin(), static_cast<std::ptrdiff_t>(chip));
    let_driver_act_for(who, request.at("pid"));
    const int result = opened.bind();
    if (result == 0) {
        who.gpio = gpio::open_chip(opened, [&who](const gpio::file_event &event) { who.deliver(event); });
    }
    return {{"result", result}};
}

transfer_outcome server::transfer_for_driver(const transfer_request &request) {
    transfer_outcome outcome = board_.transfer(request);
    trace({{}, driver_acts_for_, driver_acts_for_pid_}, request, outcome);
    return outcome;
}

/// In virtual time a trace is the same in every run: processes are numbered as they appear in it.
void server::trace(transfer_origin origin, const transfer_request &request, const transfer_outcome &outcome) {
    if (time_.movable != nullptr) {
        origin.pid =
            traced_pids_.try_emplace(origin.pid, static_cast<int>(traced_pids_.size()) + 1).first->second;
    }
    origin.time = take_bus(request, outcome);
    trace_.push(record_of(origin, request, outcome));
}

void server::let_driver_act_for(client &who, int pid) {
    if (who.pid != pid) {
        who.act_for(pid);
    }
    driver_acts_for_ = who.process;
    driver_acts_for_pid_ = pid;
}

/// The interrupt is a level: as long as it is asserted, the driver reads again. A chip that does not answer keeps it
/// asserted, until the next message.
void server::handle_interrupts() {
    board_.settle();
    for (gpio::gpio_chip &chip : gpiochips_) {
        driver_acts_for_ = "irq/" + chip.label();
        driver_acts_for_pid_ = getpid();
        for (int tries = 0; tries < most_interrupts && chip.interrupted(); ++tries) {
            chip.handle_interrupt();
        }
    }
}

void server::answer_control(client &who, std::span<const uint8_t> message) {
    if (who.replies.size() == most_replies) {
        throw std::runtime_error("client does not read its replies");
    }
    try {
        if (json reply = answer(who, parse_control(message)); !reply.is_null()) {
            who.replies.push_back(std::move(reply));
        }
    } catch (const bad_request &refusal) {
        who.replies.push_back({{"error", refusal.what()}});
    }
}

server::json server::answer(client &who, const json &request) {
    const std::string command = request.at("command");
    if (command == "act-for") {
        who.act_for(request.at("pid"));
        return json::object();
    }
    if (command == "open-gpio") {
        return open_gpio(who, request);
    }
    if (command == "close-gpio") {
        who.gpio.reset();
        return json::object();
    }
    if (command == "wait-until") {
        return wait_until(who, request);
    }
    if (command == "go-on") {
        who.turn.reset();
        return {{"turn", 0}, {"now", time_.clock.now().count()}};
    }
    who.role = command == "run" ? client_role::run : client_role::command;
    if (command == "hello" || command == "run") {
        return introduction();
    }
    if (command == "leave") {
        return leave(who);
    }
    if (command == "show") {
        return show();
    }
    if (command == "set") {
        return set(request);
    }
    if (command == "plug") {
        return plug(request);
    }
    if (command == "fault") {
        return inject(request);
    }
    if (command == "trace") {
        return start_trace(who, request);
    }
    if (command == "end-trace") {
        return end_trace(who);
    }
    if (command == "keep-time") {
        return keep_time(who, request);
    }
    return answer_about_replay(who, command);
}

server::json server::answer_about_replay(client &who, const std::string &command) const {
    if (replay_ && command == "watch-replay") {
        who.watches_replay = true;
        return json::object();
    }
    if (replay_ && command == "end-replay") {
        const auto [made, recorded] = replay_->so_far();
        return {{"end", true}, {"made", made}, {"recorded", recorded}};
    }
    throw bad_request(fmt::format("unknown command '{}'", command));
}

server::json server::introduction() const {
    return {{"board", board_.name()},
            {"file", file_},
            {"hash", file_hash_},
            {"buses", replay_ ? replay_->buses() : board_.buses()},
            {"gpiochips", gpiochips_.size()},
            {"virtual_time", time_.movable != nullptr},
            {"seed", time_.seed}};
}

server::json server::show() const {
    server_status status{board_.status(), file_, time_.clock.now(), getpid(), {}};
    for (const client &who : clients_) {
        const bool listed =
            std::ranges::find(status.programs, who.pid, &program_status::pid) != status.programs.end();
        if (who.role == client_role::program && !listed && !also_commands(who.pid)) {
            status.programs.push_back({who.process, who.pid});
        }
    }
    return status;
}

/// In a shell on the board, our own commands have the library loaded, too.
bool server::also_commands(int pid) const {
    return std::ranges::any_of(
        clients_, [pid](const client &who) { return who.pid == pid && who.role != client_role::program; });
}

server::json server::set(const json &request) {
    std::vector<assignment> assignments;
    for (const json &change : request.at("assignments")) {
        assignments.push_back({change.at(0), change.at(1), change.at(2)});
    }
    board_.set(assignments);
    return json::object();
}

server::json server::plug(const json &request) {
    board_.plug(request.at("chips"), request.at("plugged"));
    return json::object();
}

server::json server::inject(const json &request) {
    const std::string chip = request.at("chip");
    const std::string kind = request.at("kind");
    if (kind == "none") {
        board_.clear_faults(chip);
        return json::object();
    }
    if (!fault_kind_named(kind)) {
        throw bad_request(fmt::format("there is no fault '{}', only {} and none", kind, fault_names(", ")));
    }
    waiting_fault wanted = fault_in(request);
    for (fault_limit *const limit : {&wanted.terms.from, &wanted.terms.until}) {
        if (limit->time) {
            *limit->time += time_.clock.now();
        }
    }
    board_.inject(chip, wanted.kind, fault(wanted.terms));
    return json::object();
}

server::json server::start_trace(client &who, const json &request) {
    const uint64_t now = trace_.next();
    const uint64_t kept = now - trace_.oldest();
    const json &last = request.at("last");
    const uint64_t wanted = last.is_null() ? 0 : last.get<uint64_t>();
    trace_reader reader{now - std::min(wanted, kept)};
    if (!request.at("follow")) {
        reader.end = now;
    }
    who.tracing = reader;
    return json::object();
}

server::json server::keep_time(client &who, const json &request) {
    if (time_.movable == nullptr) {
        throw bad_request("this board lives in real time");
    }
    who.keeps_time = true;
    who.looks_again = request.value("looks_again", false);
    return {{"now", time_.clock.now().count()},
            {"server", getpid()},
            {"seed", time_.seed},
            {"transfers_take_time", board_.has_clocks()}};
}

server::json server::wait_until(client &who, const json &request) {
    const json &time = request.at("time");
    who.turn = {request.at("number"),
                time.is_null() ? std::nullopt : std::optional(std::chrono::nanoseconds(time.get<int64_t>())),
                request.at("drives")};
    if (request.value("worked", true)) {
        let_others_look_again(who);
    }
    return nullptr;
}

void server::let_others_look_again(const client &worker) {
    for (client &who : clients_) {
        if (who.looks_again && who.turn && &who != &worker) {
            who.turn.reset();
            who.replies.push_back({{"turn", 0}, {"now", time_.clock.now().count()}});
        }
    }
}

server::json server::end_trace(client &who) {
    if (who.tracing) {
        who.tracing->end = trace_.next();
    }
    return json::object();
}

/// A `run` ends after its program. Whether the board goes on is decided before `run` returns, so that what is
/// started next meets either this board or a new one, never one that is about to go.
server::json server::leave(client &who) {
    for (client &other : clients_) {
        pollfd state{other.link.get(), POLLIN, 0};
        if (&other != &who && poll(&state, 1, 0) > 0 && (state.revents & POLLHUP) != 0) {
            listen_to(other, state.revents);
        }
    }
    return {{"ended", !in_use() && end()}};
}

bool server::in_use() const {
    return std::ranges::any_of(
        clients_, [](const client &who) { return who.role != client_role::command && !who.gone; });
}

/// Ends, unless a client is joining at this moment.
bool server::end() {
    const descriptor lock = here_.lock(false);
    if (!lock.is_open()) {
        return false;
    }
    accept_all();
    if (in_use()) {
        return false;
    }
    here_.remove();
    listener_.close();
    ended_ = true;
    return true;
}

} // namespace varnel::sim
