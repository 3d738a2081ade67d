// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <iterator>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

/// The text of the bad_setting that this is refused with.
std::string refusal_of(chip &part, std::string_view name, std::string_view value) {
    try {
        part.set(name, value);
    } catch (const bad_setting &refused) {
        return refused.what();
    }
    return "accepted";
}

std::string content_of(const std::string &file) {
    std::ifstream stream(std::string(PROJECT_FOLDER) + "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(registry, every_type_makes_a_chip_of_that_type) {
    const hand_clock clock;
    EXPECT_FALSE(chip_types().empty());
    for (const std::string_view type : chip_types()) {
        const auto part = make_chip(type, clock);
        EXPECT_EQ(part->type(), type);
        EXPECT_FALSE(part->readings().empty()) << type;
        EXPECT_THROW(part->set("no-such-setting", "1"), bad_setting) << type;
    }
}

TEST(registry, types_are_in_alphabetical_order) { EXPECT_TRUE(std::ranges::is_sorted(chip_types())); }

TEST(registry, readings_are_settable_where_set_accepts_their_name) {
    const hand_clock clock;
    for (const std::string_view type : chip_types()) {
        const auto part = make_chip(type, clock);
        for (const reading &each : part->readings()) {
            const std::string text = refusal_of(*part, each.name, "nonsense");
            EXPECT_EQ(text.starts_with(each.name + ": "), each.settable) << type << ": " << text;
        }
    }
}

TEST(registry, unknown_type_is_refused_with_the_known_ones) {
    const hand_clock clock;
    try {
        (void)make_chip("pca9999", clock);
        FAIL() << "a chip of an unknown type was made";
    } catch (const bad_setting &refused) {
        EXPECT_THAT(refused.what(), testing::StartsWith("type: cannot be"));
        EXPECT_THAT(refused.what(),
                    testing::EndsWith(fmt::format("(expected {})", fmt::join(chip_types(), ", "))));
    }
}

TEST(registry, dictionary_for_fuzzing_boards_has_every_type) {
    const std::string dictionary = content_of("tests/fuzz/board.dict");
    for (const std::string_view type : chip_types()) {
        EXPECT_NE(dictionary.find(fmt::format("\n\"{}\"\n", type)), std::string::npos) << type;
    }
}

} // namespace
} // namespace varnel::sim::test
