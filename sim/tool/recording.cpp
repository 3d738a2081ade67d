// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/recording.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/ini_file.h"
#include "host/input_file.h"
#include "sim/capture/kernel_trace.h"
#include "sim/protocol/board_json.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

/// Reads line by line.
class recording_reader {
  public:
    explicit recording_reader(std::string shown_name) : file_(std::move(shown_name)) {}

    void add(const std::string &line) {
        ++number_;
        if (line.starts_with('{')) {
            add_json(line);
        } else if (capture::kernel_trace::tells_of_loss(line)) {
            kernel_ = {};
            lose();
        } else {
            std::ranges::move(kernel_.add(line), std::back_inserter(read_.transfers));
        }
    }

    [[nodiscard]] recording finish() {
        if (read_.transfers.empty()) {
            throw host::bad_usage(fmt::format("{}: no transfers", file_));
        }
        return std::move(read_);
    }

  private:
    /// A line of `varnel-sim trace --json`.
    void add_json(const std::string &line) {
        try {
            const json object = json::parse(line);
            if (object.contains("lost")) {
                lose();
            } else {
                read_.transfers.push_back(object.get<transfer_record>());
            }
        } catch (const std::exception &) {
            throw host::bad_line(file_, number_, "no transfer as varnel-sim trace --json prints it");
        }
    }

    /// What is lost before the first transfer only makes the recording begin later.
    void lose() {
        if (!read_.hole && !read_.transfers.empty()) {
            read_.hole = {read_.transfers.size(), number_};
        }
    }

    std::string file_;
    int number_ = 0;
    capture::kernel_trace kernel_ = {};
    recording read_ = {};
};

} // namespace

recording read_recording(const std::string &file) {
    std::istringstream text(host::input_file(file).content());
    recording_reader reader(host::shown_name(file));
    for (std::string line; std::getline(text, line);) {
        reader.add(line);
    }
    return reader.finish();
}

} // namespace varnel::sim::tool
