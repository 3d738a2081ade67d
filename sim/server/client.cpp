// SPDX-License-Identifier: Apache-2.0
#include "sim/server/client.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <sys/socket.h>

#include "sim/protocol/board_json.h"
#include "sim/protocol/message.h"

namespace varnel::sim {

namespace {

int peer_of(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

/// A process may choose any bytes for its name; a line of a trace has to stay one.
std::string name_of_process(int pid) {
    std::ifstream comm(fmt::format("/proc/{}/comm", pid));
    std::string name;
    std::getline(comm, name);
    std::ranges::replace_if(
        name, [](char c) { return c <= ' ' || c > '~'; }, '?');
    return name.empty() ? "?" : name;
}

} // namespace

client::client(descriptor socket)
    : link(std::move(socket)), pid(peer_of(link.get())), process(name_of_process(pid)) {}

void client::act_for(int process_id) {
    pid = process_id;
    process = name_of_process(process_id);
}

void client::send_reply(std::span<const uint8_t> head, std::span<const uint8_t> body) {
    if (!link.send(head, body)) {
        throw std::runtime_error("client does not take its reply");
    }
}

void client::reply(std::chrono::steady_clock::time_point due, std::span<const uint8_t> head,
                   std::span<const uint8_t> body) {
    if (delayed_) {
        throw std::runtime_error("client does not wait for its reply");
    }
    if (due <= std::chrono::steady_clock::time_point{} || due <= std::chrono::steady_clock::now()) {
        return send_reply(head, body);
    }
    delayed_ = {due, {head.begin(), head.end()}};
    delayed_->message.insert(delayed_->message.end(), body.begin(), body.end());
}

std::optional<std::chrono::steady_clock::time_point> client::reply_due() const {
    return delayed_ ? std::optional(delayed_->due) : std::nullopt;
}

void client::send_reply_when_due() {
    if (delayed_ && delayed_->due <= std::chrono::steady_clock::now()) {
        const delayed_reply reply = *std::exchange(delayed_, std::nullopt);
        send_reply(reply.message, {});
    }
}

void client::deliver(const gpio::file_event &event) {
    if (!events_.empty() || !send_event(event)) {
        events_.push_back(event);
    }
}

bool client::send_event(const gpio::file_event &event) {
    return link.send(encode(gpio_event_header{message_kind::gpio_event, event.drops_oldest, event.capacity}),
                     event.bytes);
}

bool client::wants_trace(const trace_ring &ring) const {
    return tracing && (tracing->next < ring.next() || (tracing->end && tracing->next >= *tracing->end));
}

bool client::waits_for_more(const trace_ring &ring) const {
    return !events_.empty() || !replies.empty() || wants_trace(ring);
}

void client::send_more(const trace_ring &ring) {
    while (!events_.empty()) {
        if (!send_event(events_.front())) {
            return;
        }
        events_.pop_front();
    }
    while (!replies.empty()) {
        if (!link.send(replies.front())) {
            return;
        }
        replies.pop_front();
    }
    while (wants_trace(ring) && send_next(ring)) {
    }
}

/// Returns whether the client took it.
bool client::send_next(const trace_ring &ring) {
    if (tracing->end && tracing->next >= *tracing->end) {
        const bool sent = link.send({{"end", true}});
        if (sent) {
            tracing.reset();
        }
        return sent;
    }
    const uint64_t lost = ring.oldest() - std::min(ring.oldest(), tracing->next);
    const bool sent =
        lost != 0 ? link.send({{"lost", lost}}) : link.send({{"transfer", ring.at(tracing->next)}});
    if (sent) {
        tracing->next += lost != 0 ? lost : 1;
    }
    return sent;
}

} // namespace varnel::sim
