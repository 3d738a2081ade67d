// SPDX-License-Identifier: Apache-2.0
#include "host/suggestion.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include <fmt/format.h>

namespace varnel::host {

namespace {

constexpr std::size_t longest_word = 32;
constexpr std::size_t shortest_beginning = 2;
constexpr std::size_t letters_per_mistake = 3;

std::string_view without_dashes(std::string_view word) {
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

/// How many letters must be inserted, removed, replaced or swapped with the next to make one word the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::array<std::array<std::size_t, longest_word + 1>, longest_word + 1> least{};
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                least[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = least[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            least[i][j] = std::min({replaced, least[i - 1][j] + 1, least[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                least[i][j] = std::min(least[i][j], least[i - 2][j - 2] + 1);
            }
        }
    }
    return least[a.size()][b.size()];
}

} // namespace

std::string suggestion(std::string_view typed, const std::vector<std::string> &known) {
    const std::string_view word = without_dashes(typed);
    std::string nearest;
    std::size_t fewest = std::max<std::size_t>(1, word.size() / letters_per_mistake) + 1;
    for (const std::string &each : known) {
        const std::string_view other = without_dashes(each);
        if (word.size() < shortest_beginning || std::max(word.size(), other.size()) > longest_word) {
            continue;
        }
        if (other.starts_with(word)) {
            return each;
        }
        if (const std::size_t mistakes = distance(word, other); mistakes < fewest) {
            fewest = mistakes;
            nearest = each;
        }
    }
    return nearest;
}

std::string did_you_mean(std::string_view typed, const std::vector<std::string> &known) {
    const std::string meant = suggestion(typed, known);
    return meant.empty() ? "" : fmt::format("; did you mean '{}'?", meant);
}

} // namespace varnel::host
