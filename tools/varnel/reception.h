// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/varnel/library_thread.h"

namespace varnel::tools {

/// Something to do while waiting; throws to give up.
using meanwhile = std::function<void()>;

/// The library's receiver at work on a thread, its bytes in our hands: it writes to a named pipe. It goes on
/// only when that is opened for reading, and before that we look at the size that the sender has announced,
/// which it keeps to itself. So a transfer that ends too early is told from a complete one.
class reception {
  public:
    /// Starts to receive. `pipe` is a named pipe that no process has open.
    reception(std::string pipe, std::string address);
    reception(const reception &) = delete;
    reception &operator=(const reception &) = delete;

    /// Waits for the connection and returns the size that was announced; nothing when it came to no
    /// connection or the sender left at once.
    std::optional<uint32_t> announced_size(const meanwhile &idle);

    /// Hands over what arrives, piece by piece, until the library has finished.
    void receive(const std::function<void(const char *bytes, std::size_t size)> &use, const meanwhile &idle);

    /// What mma_lan_transfer() returned, with its errno. The library has finished.
    struct ending {
        int result;
        int error;
    };
    [[nodiscard]] ending end() const;

  private:
    struct order;
    static std::shared_ptr<order> make_order(std::string pipe, std::string address);
    static void *run(void *arg);

    std::shared_ptr<order> order_;
    library_thread thread_;
};

} // namespace varnel::tools
