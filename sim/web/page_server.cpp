// SPDX-License-Identifier: Apache-2.0
#include "sim/web/page_server.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>

#include <httplib.h>
#include <sys/random.h>

#include "sim/web/page_files.h"

namespace varnel::sim::web {

namespace {

using std::chrono::milliseconds;

constexpr const char *loopback = "127.0.0.1";
constexpr std::size_t token_bytes = 16;
constexpr std::size_t longest_body = 8192;
/// Each has a thread of its own.
constexpr int most_pages = 32;
/// Threads for all other requests; each of them ends its connection.
constexpr int other_threads = 8;
constexpr int longest_read_seconds = 5;
/// How soon a page that has been closed is noticed.
constexpr milliseconds longest_silence{1000};
/// How long pages may take to read the last events.
constexpr milliseconds longest_farewell{1000};

std::string new_token() {
    std::array<unsigned char, token_bytes> random{};
    if (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
        throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string token;
    for (const unsigned char byte : random) {
        token += digits[byte >> 4U];
        token += digits[byte & 0xFU];
    }
    return token;
}

/// In a time that does not tell how much of them is the same.
bool same(std::string_view first, std::string_view second) {
    unsigned int differences = first.size() == second.size() ? 0 : 1;
    for (std::size_t i = 0; i < first.size(); ++i) {
        differences |= static_cast<unsigned int>(first[i] ^ second[i % second.size()]);
    }
    return differences == 0;
}

httplib::Headers headers_of_all() {
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
             "worker-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"X-Content-Type-Options", "nosniff"},
            {"Referrer-Policy", "no-referrer"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            {"Cache-Control", "no-store"}};
}

/// A port may be used again at once, but only by one server at a time, unlike by the library's own choice.
void reuse_address(socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

void answer_with(httplib::Response &response, const answer &what) {
    response.status = what.status;
    response.set_content(what.body, what.type);
}

void refuse(httplib::Response &response, int status, const std::string &why) {
    answer_with(response, {why + "\n", "text/plain", status});
}

const page_file *file_named(std::string_view name) {
    const auto files = page_files();
    const auto found = std::ranges::find(files, name.empty() ? "index.html" : name, &page_file::name);
    return found == files.end() ? nullptr : &*found;
}

class http_page_server : public page_server {
  public:
    http_page_server(page_source &source, int port) : source_(source) {
        server_.set_address_family(AF_INET);
        server_.set_socket_options(reuse_address);
        port_ = port == 0 ? server_.bind_to_any_port(loopback) : port;
        if (port_ <= 0 || (port != 0 && !server_.bind_to_port(loopback, port))) {
            throw std::system_error(errno, std::generic_category(), "port " + std::to_string(port));
        }
        limit();
        route();
        listener_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) {
            std::this_thread::yield();
        }
    }
    ~http_page_server() override {
        const auto end = std::chrono::steady_clock::now() + longest_farewell;
        while (pages_ > 0 && source_.ended() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(milliseconds(1));
        }
        server_.stop();
        listener_.join();
    }
    http_page_server(const http_page_server &) = delete;
    http_page_server &operator=(const http_page_server &) = delete;

    [[nodiscard]] std::string address() const override {
        return "http://" + std::string(loopback) + ":" + std::to_string(port_) + "/" + token_ + "/";
    }

  private:
    void limit() {
        server_.new_task_queue = [] { return new httplib::ThreadPool(most_pages + other_threads); };
        server_.set_keep_alive_max_count(1);
        server_.set_read_timeout(longest_read_seconds);
        server_.set_write_timeout(longest_read_seconds);
        server_.set_payload_max_length(longest_body);
        server_.set_default_headers(headers_of_all());
    }

    void route() {
        server_.set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &response) {
            return is_allowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                                 : httplib::Server::HandlerResponse::Handled;
        });
        server_.Get("/[0-9a-f]+/events",
                    [this](const httplib::Request &, httplib::Response &response) { stream(response); });
        server_.Get("/[0-9a-f]+/([a-z.-]*)",
                    [this](const httplib::Request &request, httplib::Response &response) {
                        get(request.matches[1], response);
                    });
        server_.Post("/[0-9a-f]+/([a-z.-]*)",
                     [this](const httplib::Request &request, httplib::Response &response) {
                         post(request, response);
                     });
        server_.set_exception_handler([](const httplib::Request &, httplib::Response &response,
                                         const std::exception_ptr &) { refuse(response, 500, "failed"); });
    }

    /// Pages of other servers reach this port, too, by a name of theirs (Host) or by a request of their own (Origin).
    bool is_allowed(const httplib::Request &request, httplib::Response &response) const {
        const std::string port = ":" + std::to_string(port_);
        const std::string host = request.get_header_value("Host");
        if (request.get_header_value_count("Host") != 1 ||
            (host != loopback + port && host != "localhost" + port)) {
            refuse(response, 403, "wrong Host");
        } else if (const auto count = request.get_header_value_count("Origin");
                   count > 1 || (count == 1 && request.get_header_value("Origin") != "http://" + host)) {
            refuse(response, 403, "wrong Origin");
        } else if (!same(request.path.substr(0, token_.size() + 2), "/" + token_ + "/")) {
            refuse(response, 403, "wrong token: use the address that varnel-sim web printed");
        } else {
            return true;
        }
        return false;
    }

    void get(const std::string &name, httplib::Response &response) {
        if (const page_file *const file = file_named(name)) {
            return response.set_content(file->text.data(), file->text.size(), std::string(file->type));
        }
        answer_or_refuse(source_.get(name), response);
    }

    void post(const httplib::Request &request, httplib::Response &response) {
        // Pages of other servers cannot send this type without asking first.
        if (request.get_header_value("Content-Type") != "application/json") {
            return refuse(response, 415, "not application/json");
        }
        answer_or_refuse(source_.post(request.matches[1], request.body), response);
    }

    static void answer_or_refuse(const std::optional<answer> &found, httplib::Response &response) {
        if (found) {
            answer_with(response, *found);
        } else {
            refuse(response, 404, "no such thing");
        }
    }

    void stream(httplib::Response &response) {
        if (++pages_ > most_pages) {
            --pages_;
            return refuse(response, 503, std::to_string(most_pages) + " pages are open: close one");
        }
        response.set_chunked_content_provider(
            "text/event-stream",
            [this, seen = uint64_t{0}](std::size_t, httplib::DataSink &sink) mutable {
                return send_next(seen, sink);
            },
            [this](bool) { --pages_; });
    }

    /// Returns whether the page still listens.
    bool send_next(uint64_t &seen, httplib::DataSink &sink) {
        const bool last = source_.ended();
        const std::string events = source_.events_after(seen, longest_silence);
        if (!events.empty() && !sink.write(events.data(), events.size())) {
            return false;
        }
        if (last) {
            sink.done();
        }
        return sink.is_writable();
    }

    page_source &source_;
    std::string token_ = new_token();
    httplib::Server server_ = {};
    int port_ = 0;
    std::atomic<int> pages_ = 0;
    std::thread listener_ = {};
};

} // namespace

} // namespace varnel::sim::web

extern "C" __attribute__((visibility("default"))) varnel::sim::web::page_server *
varnel_sim_make_page_server(varnel::sim::web::page_source *source, int port) {
    return new varnel::sim::web::http_page_server(*source, port);
}
