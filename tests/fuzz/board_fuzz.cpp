// SPDX-License-Identifier: Apache-2.0
// Any board description: refused with file and line, or a board that can be shown and that answers transfers.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "refusal.h"
#include "require.h"
#include "sim/board/board.h"

namespace {

using namespace varnel::sim;
using varnel::test::require;

class stopped_clock : public board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return {}; }
};

/// Writes two bytes to every chip and reads four; no result may crash the board.
void talk_to(board &made, const board_description &description) {
    constexpr std::array<uint8_t, 2> written{0x07, 0x55};
    for (uint8_t bus = 0; bus < 3; ++bus) {
        for (const chip_description &chip : description.chips) {
            (void)made.transfer({operation::write_read, bus, chip.place.address, written, 4});
        }
    }
}

/// Requires the status to show each chip on the bus of its description.
void require_places(const board_status &status, const board_description &description) {
    require(status.chips.size() == description.chips.size(), "all chips are there");
    for (std::size_t i = 0; i < status.chips.size(); ++i) {
        const auto &connections = status.chips[i].connections;
        const chip_description &chip = description.chips[i];
        require(connections.at(0).bus == chip.place.bus, "a bus has one name");
        require(!chip.other_place || connections.at(1).bus == chip.other_place->bus, "a bus has one name");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::istringstream input(text);
    try {
        const stopped_clock clock;
        const board_description description = read_description(input, "board.ini");
        require(text.find('\0') == std::string::npos, "a NUL byte is refused");
        board made(description, clock);
        require_places(made.status(), description);
        talk_to(made, description);
        require(made.status().name == description.name, "it can be shown");
    } catch (const varnel::host::bad_line &refusal) {
        varnel::test::require_place(refusal.what(), "board.ini", text);
    }
    return 0;
}
