// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "config/bounded_text.h"
#include "varnel/iniparser.h"

namespace varnel {

enum class ini_load {
    done,
    unreadable, // missing or permission denied: setters begin a new file
    failed      // nothing is known about the content
};

/// A whole INI file in memory.
class ini_image {
  public:
    static constexpr std::size_t limit = INIPARSER_CONTENT_MAX + 1; // of content and its NUL

    /// Ends the process through an assertion when the content is longer than INIPARSER_CONTENT_MAX.
    [[nodiscard]] ini_load load(const char *path);

    /// The bytes up to the end of the file or its first 0xFF; a NUL follows them.
    [[nodiscard]] std::string_view content() const { return {bytes_.data(), length_}; }

    /// Makes `text` the file's content, in place: same inode, same mode. When that fails, the content that
    /// load() read is restored. After each of its system calls the file reads as the old or the new text.
    /// `text` is changed.
    [[nodiscard]] bool replace(const char *path, bounded_text &text);

  private:
    [[nodiscard]] bool overwrite(int descriptor, bounded_text &text, long long size);
    void put_back(int descriptor, std::size_t touched, long long size);

    std::array<char, limit + 1> bytes_; // one more, to detect a file of `limit` bytes or more
    std::size_t stored_ = 0;            // bytes that the file had, up to `limit`
    std::size_t length_ = 0;            // bytes before the end or the first 0xFF
};

} // namespace varnel
