// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

#include <arpa/inet.h>
#include <freeipmi/freeipmi.h>
#include <pthread.h>
#include <signal.h>

#include "controllers/complain.h"
#include "controllers/controller_table.h"
#include "ipmi/status.h"
#include "varnel/platform.h"

namespace varnel::platform {

namespace {

constexpr unsigned int default_timeout_s = 5;
constexpr uint8_t privilege_administrator = 4;
constexpr uint8_t suite_sha256 = 17; // RAKP-HMAC-SHA256, HMAC-SHA256-128, AES-CBC-128 (IPMI 2.0 errata 4)
constexpr uint8_t suite_sha1 = 3;    // RAKP-HMAC-SHA1, HMAC-SHA1-96, AES-CBC-128 (IPMI 2.0 table 22-20)

// Many BMCs answer "open session" with a privilege level of 0, whatever they grant later.
constexpr unsigned int workarounds = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE;

/// Blocks signals for a scope, because libfreeipmi fails when a signal interrupts it.
class signals_blocked {
  public:
    signals_blocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~signals_blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_blocked(const signals_blocked &) = delete;
    signals_blocked &operator=(const signals_blocked &) = delete;

  private:
    sigset_t before_{};
};

/// A field of fixed size as terminated text; a full field has no NUL.
template <std::size_t Size>
class text_of_field {
  public:
    explicit text_of_field(const char *field) {
        if (field != nullptr) {
            std::memcpy(text_.data(), field, strnlen(field, Size));
        }
    }
    ~text_of_field() { explicit_bzero(text_.data(), text_.size()); }
    text_of_field(const text_of_field &) = delete;
    text_of_field &operator=(const text_of_field &) = delete;

    [[nodiscard]] const char *c_str() const { return text_.data(); }

  private:
    std::array<char, Size + 1> text_{};
};

struct login {
    const char *host;
    const char *user_name;
    const char *password;
    uint8_t privilege;
    unsigned int give_up_after_ms;
    unsigned int retransmit_after_ms;
};

/// The content of a session's storage; all zero is a session that is not open.
struct session_content {
    ipmi_ctx_t context;
    std::uintptr_t
        failed; ///< 1: the answer of a command did not come; as wide as the pointer, so without padding
};

// By copying: the caller's bytes need not be aligned.
session_content content_of(const void *session) {
    session_content content{};
    std::memcpy(&content, session, sizeof content);
    return content;
}

void set_content(void *session, const session_content &content) {
    std::memcpy(session, &content, sizeof content);
}

uint16_t number(ipmi_status status) { return static_cast<uint16_t>(status); }

void initialise_library() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { ipmi_rmcpplus_init(); });
}

/// The two time-outs of libfreeipmi add up: it fails at the first multiple of the retransmission time that is
/// not below the session time. A call that may last n seconds therefore sends again after n / 2 and fails
/// after n.
login with_time_outs(login to, const controller_record &controller, uint8_t timeout_s) {
    const unsigned int seconds = timeout_s == 0 ? default_timeout_s : timeout_s;
    const bool from_table = controller.give_up_after_ms != 0 && controller.retransmit_after_ms != 0;
    to.retransmit_after_ms = from_table ? controller.retransmit_after_ms : seconds * 500;
    to.give_up_after_ms = from_table ? controller.give_up_after_ms : to.retransmit_after_ms + 100;
    return to;
}

/// Why the last call failed. libfreeipmi reports success for some duplicated or reordered packets.
int error_of(ipmi_ctx_t context) {
    const int error = ipmi_ctx_errnum(context);
    return error == IPMI_ERR_SUCCESS ? IPMI_ERR_INTERNAL_ERROR : error;
}

/// Opens a session with one cipher suite. Returns 0 and the context, or the error number.
int open_with_suite(const login &to, uint8_t suite, ipmi_ctx_t &opened) {
    ipmi_ctx_t context = ipmi_ctx_create();
    if (context == nullptr) {
        return IPMI_ERR_OUT_OF_MEMORY;
    }
    if (ipmi_ctx_open_outofband_2_0(context, to.host, to.user_name, to.password, nullptr, 0, to.privilege,
                                    suite, to.give_up_after_ms, to.retransmit_after_ms, workarounds,
                                    0) != 0) {
        const int error = error_of(context);
        ipmi_ctx_destroy(context);
        return error;
    }
    opened = context;
    return 0;
}

/// Errors of BMCs that do not support the cipher suite, with valid and invalid answers. No answer is not one
/// of them: another try would double the wait for a dead host.
bool may_be_refused_suite(int error) {
    return error == IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE || error == IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE ||
           error == IPMI_ERR_IPMI_ERROR;
}

int open_session(const login &to, uint8_t suite, ipmi_ctx_t &opened) {
    if (suite != 0) {
        return open_with_suite(to, suite, opened);
    }
    const int error = open_with_suite(to, suite_sha256, opened);
    return may_be_refused_suite(error) ? open_with_suite(to, suite_sha1, opened) : error;
}

bool is_address(const char *host) {
    in_addr address{};
    return host != nullptr && inet_pton(AF_INET, host, &address) == 1;
}

/// "host:port", the form that libfreeipmi expects.
using host_and_port = std::array<char, INET_ADDRSTRLEN + sizeof ":65535">;
host_and_port joined(const char *host, uint16_t port) {
    host_and_port text{};
    std::snprintf(text.data(), text.size(), "%s:%u", host, port);
    return text;
}

/// The response as libfreeipmi stores it: command byte, completion code, data. Larger than any LAN packet.
using response_buffer = std::array<uint8_t, 2048>;
constexpr uint32_t request_data_max = 1024;

/// Sends a command. Returns the length of the response, or -1 and a status.
///
/// libfreeipmi accepts the late answer to a command that failed as the answer to the next one, so a session
/// accepts no more commands after a failure.
int send_raw(void *session, uint8_t lun, uint8_t net_function, std::span<const uint8_t> request,
             response_buffer &response, ipmi_status &status) {
    session_content content = content_of(session);
    if (content.failed != 0) {
        status = ipmi_status::no_answer;
        return -1;
    }
    const signals_blocked quiet;
    const int length = ipmi_cmd_raw(content.context, lun, net_function, request.data(),
                                    static_cast<uint32_t>(request.size()), response.data(),
                                    static_cast<uint32_t>(response.size()));
    if (length < 0) {
        status = status_of_error(error_of(content.context));
        content.failed = 1;
        set_content(session, content);
    }
    return length;
}

/// Passes on completion code and data.
uint16_t take_response(const uint8_t *response, std::size_t length, uint8_t *res, uint32_t *res_len) {
    const uint32_t room = res == nullptr ? 0 : *res_len;
    const auto stored = std::min<uint32_t>(static_cast<uint32_t>(length), room);
    if (stored != 0) {
        std::memcpy(res, response, stored);
    }
    *res_len = stored;
    if (response[0] != 0) {
        return response[0];
    }
    return stored == length ? 0 : number(ipmi_status::answer_too_long);
}

} // namespace

} // namespace varnel::platform

using namespace varnel::platform;

uint16_t LIBIPMI_Create_IPMI20_Session(void *session, const char *host, uint16_t port, const char *user_name,
                                       const char *password, uint8_t /*argument6*/, uint8_t * /*argument7*/,
                                       uint8_t * /*argument8*/, uint8_t *privilege, uint8_t /*argument10*/,
                                       uint8_t /*argument11*/, uint8_t /*argument12*/, uint8_t /*argument13*/,
                                       uint8_t /*argument14*/, uint8_t timeout) {
    if (session == nullptr || !is_address(host)) {
        return number(ipmi_status::bad_argument);
    }
    set_content(session, {});
    const signals_blocked quiet;
    initialise_library();
    controller_record controller;
    complain_once(find_controller(host, controller));
    const host_and_port destination = joined(host, port);
    const text_of_field<LOGIN_USER_NAME_SIZE> user(user_name);
    const text_of_field<LOGIN_PASSWORD_SIZE> secret(password);
    const uint8_t level = privilege == nullptr ? privilege_administrator : *privilege;
    const login to =
        with_time_outs({destination.data(), user.c_str(), secret.c_str(), level, 0, 0}, controller, timeout);
    ipmi_ctx_t opened = nullptr;
    const int error = open_session(to, controller.cipher_suite, opened);
    set_content(session, {opened, 0});
    return number(status_of_error(error));
}

uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *session, uint8_t lun, uint8_t net_function, uint8_t cmd,
                                          uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len,
                                          int /*timeout*/) {
    if (session == nullptr || res_len == nullptr || (req == nullptr && req_len != 0) ||
        req_len > request_data_max) {
        return number(ipmi_status::bad_argument);
    }
    if (content_of(session).context == nullptr) {
        return number(ipmi_status::not_open);
    }
    std::array<uint8_t, 1 + request_data_max> request{cmd};
    if (req_len != 0) {
        std::memcpy(request.data() + 1, req, req_len);
    }
    response_buffer response{};
    ipmi_status status = ipmi_status::failed;
    const int length =
        send_raw(session, lun, net_function, std::span(request).first(1 + req_len), response, status);
    if (length < 2) {
        *res_len = 0;
        return number(status);
    }
    return take_response(response.data() + 1, static_cast<std::size_t>(length) - 1, res, res_len);
}

uint16_t LIBIPMI_CloseSession(void *session) {
    if (session == nullptr) {
        return number(ipmi_status::bad_argument);
    }
    ipmi_ctx_t context = content_of(session).context;
    if (context == nullptr) {
        return number(ipmi_status::not_open);
    }
    const signals_blocked quiet;
    const int error = ipmi_ctx_close(context) == 0 ? 0 : error_of(context);
    ipmi_ctx_destroy(context);
    set_content(session, {});
    return number(status_of_error(error));
}
