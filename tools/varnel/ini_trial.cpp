// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/ini_trial.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/input_file.h"
#include "tools/varnel/commands.h"
#include "tools/varnel/text_input.h"
#include "varnel/iniparser.h"

namespace varnel::tools {

namespace {

constexpr char end_mark = '\xFF';

std::string read_if_there(const std::string &path) {
    try {
        return read_ini(path);
    } catch (const std::system_error &problem) {
        if (problem.code() == std::errc::no_such_file_or_directory) {
            return "";
        }
        throw;
    }
}

} // namespace

std::string read_ini(const std::string &path) {
    std::string text = read_some(path, INIPARSER_CONTENT_MAX + 1);
    text.resize(std::min(text.find(end_mark), text.size()));
    if (text.size() > INIPARSER_CONTENT_MAX) {
        throw failed(fmt::format("{}: longer than {} bytes", shown_name(path),
                                 static_cast<int>(INIPARSER_CONTENT_MAX)));
    }
    return text;
}

ini_trial::ini_trial(std::string path)
    : path_(std::move(path)), before_(read_if_there(path_)), copy_(before_) {}

std::string ini_trial::after(const std::function<int(const char *)> &setter) const {
    if (setter(copy().c_str()) != 0) {
        throw failed(
            fmt::format("{}: would be longer than {} bytes", path_, static_cast<int>(INIPARSER_CONTENT_MAX)));
    }
    return read_some(copy(), INIPARSER_CONTENT_MAX + 1);
}

text_change difference(const std::string &before, const std::string &after) {
    const auto ends = std::ranges::mismatch(before, after);
    const auto place = static_cast<std::size_t>(ends.in1 - before.begin());
    const std::size_t most = std::min(before.size(), after.size()) - place;
    std::size_t same = 0; // bytes at the end
    while (same < most && before[before.size() - 1 - same] == after[after.size() - 1 - same]) {
        ++same;
    }
    return {place, before.substr(place, before.size() - place - same),
            after.substr(place, after.size() - place - same)};
}

std::string line_at(const std::string &text, std::size_t place) {
    const std::size_t end = std::min(text.find_first_of("\r\n", place), text.size());
    const std::size_t before = place == 0 ? std::string::npos : text.find_last_of("\r\n", place - 1);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    return text.substr(begin, end - begin);
}

} // namespace varnel::tools
