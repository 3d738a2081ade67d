// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace varnel::sim::web {

/// What a page gets for a request.
struct answer {
    std::string body;
    std::string type = "application/json";
    int status = 200;
};

/// What pages show and ask for. Several threads call its functions at once.
class page_source {
  public:
    page_source() = default;
    virtual ~page_source() = default;
    page_source(const page_source &) = delete;
    page_source &operator=(const page_source &) = delete;

    /// The events after number `seen`, as a text/event-stream, and in `seen` the number of the last one; waits for the
    /// first, but no longer than `limit`. A page that has seen nothing (0) gets the whole state.
    [[nodiscard]] virtual std::string events_after(uint64_t &seen, std::chrono::milliseconds limit) = 0;
    /// Whether there will be no more events.
    [[nodiscard]] virtual bool ended() = 0;
    /// Something to download; nothing: there is none of this name.
    [[nodiscard]] virtual std::optional<answer> get(const std::string &name) = 0;
    [[nodiscard]] virtual std::optional<answer> post(const std::string &name, const std::string &body) = 0;
};

/// Serves the page to browsers on this machine as long as it lives.
class page_server {
  public:
    page_server() = default;
    virtual ~page_server() = default;
    page_server(const page_server &) = delete;
    page_server &operator=(const page_server &) = delete;

    /// "http://127.0.0.1:PORT/TOKEN/": who does not know the token gets nothing.
    [[nodiscard]] virtual std::string address() const = 0;
};

/// Port 0: a free one. Throws std::system_error when the port cannot be had. The server lives no longer than its source; the
/// caller deletes it. The command loads this library only when it serves a page: the HTTP library and those that it
/// needs take longer to load than other commands take to run.
using page_server_maker = page_server *(page_source *source, int port);
inline constexpr const char *page_server_maker_name = "varnel_sim_make_page_server";

} // namespace varnel::sim::web
