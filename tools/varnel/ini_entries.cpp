// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/ini_entries.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/descriptor.h"
#include "tools/varnel/memory_file.h"
#include "varnel/iniparser.h"

namespace varnel::tools {

namespace {

constexpr std::string_view white_space = " \t\v\f";
constexpr std::string_view line_ends{"\r\n\0", 3};

/// Reads sections and keys as the library does (varnel/iniparser.h).
class entry_reader {
  public:
    void read_line(std::string_view line) {
        if (const std::size_t close = line.find(']'); line.starts_with('[') && close != line.npos) {
            section_ = line.substr(1, close - 1);
            line.remove_prefix(close + 1);
            after_header_ = true;
        }
        if (after_header_) {
            line.remove_prefix(std::min(line.find_first_not_of(white_space), line.size()));
            after_header_ = line.empty();
        }
        const std::size_t equals = line.find('=');
        if (equals != line.npos && std::string_view("#;=").find(line.front()) == line.npos) {
            add(std::string(line.substr(0, equals)));
        }
    }

    [[nodiscard]] const std::vector<ini_entry> &entries() const { return entries_; }

  private:
    void add(const std::string &key) {
        const bool known = std::ranges::any_of(
            entries_, [&](const ini_entry &each) { return each.section == section_ && each.key == key; });
        if (!known) {
            entries_.push_back({section_, key, ""});
        }
    }

    std::vector<ini_entry> entries_ = {};
    std::string section_ = {};
    bool after_header_ = false;
};

} // namespace

std::vector<ini_entry> entries_of(const std::string &text) {
    entry_reader reader;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(line_ends, begin), text.size());
        reader.read_line(std::string_view(text).substr(begin, end - begin));
        begin = end + 1;
    }
    const memory_file copy(text);
    std::vector<ini_entry> found;
    for (const auto &[section, key, unread] : reader.entries()) {
        std::array<char, INIPARSER_VALUE_SIZE> value{};
        if (get_config_string(copy.path().c_str(), section.c_str(), key.c_str(), value.data()) == 0) {
            found.push_back({section, key, value.data()});
        }
    }
    return found;
}

std::string without_line_at(const std::string &text, std::size_t place) {
    const std::size_t before = place == 0 ? text.npos : text.find_last_of(line_ends, place - 1);
    const std::size_t begin = before == text.npos ? 0 : before + 1;
    std::size_t end = std::min(text.find_first_of(line_ends, place), text.size());
    if (text.compare(end, 2, "\r\n") == 0) {
        ++end;
    }
    return std::string(text).erase(begin, end + 1 - begin);
}

void shorten_file(const std::string &path, std::string text) {
    const std::size_t length = text.size();
    const host::descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    struct stat status {};
    if (fstat(file.get(), &status) == 0) {
        text.resize(std::max(length, static_cast<std::size_t>(status.st_size)), '\n');
        if (pwrite(file.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
            ftruncate(file.get(), static_cast<off_t>(length)) == 0) {
            return;
        }
    }
    throw std::system_error(errno, std::generic_category(), path);
}

} // namespace varnel::tools
