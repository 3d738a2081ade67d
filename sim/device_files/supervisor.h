// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>

#include "sim/device_files/call_shape.h"
#include "sim/device_files/device_node.h"
#include "sim/device_files/notification.h"
#include "sim/device_files/open_buses.h"
#include "sim/device_files/open_gpios.h"
#include "sim/device_files/sys_folder.h"
#include "sim/protocol/meeting_point.h"
#include "sim/virtual_time/keeper.h"

namespace varnel::sim::device_files {

/// What programs are to find under the names of device files.
struct board_files {
    meeting_point board;
    std::string name;               ///< of the board
    std::vector<device_node> nodes; ///< buses and GPIO chips
};

/// Answers the system calls of programs that concern the board's device files: /dev/i2c-N and /dev/gpiochipN exist
/// for the board's buses and GPIO chips and for no other, whatever the machine has. Everything else is the kernel's.
class supervisor {
  public:
    /// `holder` and `say`, which tells the user how time goes, are null in real time.
    supervisor(call_listener calls, const board_files &files, virtual_time::turn *holder,
               std::function<void(const std::string &)> say);

    [[nodiscard]] int calls() const { return calls_.get(); }
    /// Whether any program is left whose calls come here.
    [[nodiscard]] bool has_programs() const;
    /// What is to be watched beside calls().
    [[nodiscard]] std::vector<pollfd> watched() const;
    /// Looks after what poll(2) found at one of these.
    void attend(const pollfd &seen);
    /// Answers the next call.
    void answer();
    /// Who keeps the time of the programs; null in real time.
    [[nodiscard]] virtual_time::keeper *time() { return time_ ? &*time_ : nullptr; }

  private:
    void answer_for_board(const system_call &call);
    void answer_for_path(const system_call &call, const path_call &shape);
    void answer_for_descriptor(const system_call &call);
    void open_path(const system_call &call, const std::string &path, uint64_t flags);
    void open_node(const system_call &call, const device_node &node, uint64_t flags);
    void open_dev_folder(const system_call &call, uint64_t flags);
    void give(const system_call &call, const descriptor &file, bool close_on_exec) const;
    void look_up(const system_call &call, const path_call &shape, const std::string &path);
    void read_link(const system_call &call, const path_call &shape, const std::string &path) const;
    void answer_bus(const system_call &call, open_bus &file);
    void answer_dev_folder(const system_call &call);
    void list_dev_folder(const system_call &call);
    void answer_gpio(const system_call &call, open_gpio &file);
    [[nodiscard]] int64_t perform_gpio(const system_call &call, open_gpio &file);
    [[nodiscard]] int64_t request_lines(const system_call &call, unsigned int chip,
                                        std::vector<uint8_t> &data);
    void duplicate(const system_call &call);
    [[nodiscard]] std::optional<device_node> node_of(const system_call &call, uint64_t number);
    void finish(const system_call &call, int64_t result) const;
    [[nodiscard]] bool exists(const device_node &node) const;

    call_listener calls_;
    std::vector<device_node> nodes_; ///< that the board has
    channel power_;                  ///< keeps the board on
    sys_folder sys_;
    open_buses buses_;
    open_gpios gpios_;
    std::optional<virtual_time::keeper> time_ = std::nullopt;
};

} // namespace varnel::sim::device_files
