// SPDX-License-Identifier: Apache-2.0
#include "config/ini_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "base/assertion.h"
#include "base/owned_descriptor.h"

namespace {

constexpr int stop_byte = 0xFF; // ends the content
constexpr mode_t new_file_mode = 0666;

/// Repeats a system call that a signal interrupted.
template <typename Call>
ssize_t uninterrupted(Call call) {
    ssize_t result = 0;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

/// Reads to the end of the file, to the end of the content or `room` bytes. A short read does not mean the
/// end of the file: the rest may be unreadable.
ssize_t read_content(int descriptor, char *bytes, std::size_t room) {
    std::size_t have = 0;
    ssize_t n = 1;
    while (n > 0 && have < room) {
        n = uninterrupted([&] { return read(descriptor, bytes + have, room - have); });
        if (n < 0) {
            return -1;
        }
        const bool stopped = std::memchr(bytes + have, stop_byte, static_cast<std::size_t>(n)) != nullptr;
        have += static_cast<std::size_t>(n);
        if (stopped) {
            break;
        }
    }
    return static_cast<ssize_t>(have);
}

bool write_stream(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = uninterrupted([&] { return write(descriptor, text.data(), text.size()); });
        if (n < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

/// Whether this process may make a file this long; otherwise SIGXFSZ would kill it.
bool is_within_limit(long long size) {
    rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
    getrlimit(RLIMIT_FSIZE, &limit);
    return static_cast<rlim_t>(size) <= limit.rlim_cur;
}

/// Appends newlines to a file of `size` bytes until it has `wanted`.
bool lengthen(int descriptor, long long size, long long wanted) {
    std::array<char, 256> newlines;
    newlines.fill('\n');
    ssize_t n = 1;
    for (; size < wanted && n > 0; size += n) {
        const auto length = std::min<std::size_t>(newlines.size(), static_cast<std::size_t>(wanted - size));
        n = uninterrupted([&] { return pwrite(descriptor, newlines.data(), length, size); });
    }
    return n > 0;
}

} // namespace

varnel::ini_load varnel::ini_image::load(const char *path) {
    bytes_[0] = '\0';
    const owned_descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.is_open()) {
        return errno == ENOENT || errno == EACCES ? ini_load::unreadable : ini_load::failed;
    }
    const ssize_t n = read_content(file.get(), bytes_.data(), limit);
    if (n < 0) {
        return ini_load::failed;
    }
    stored_ = static_cast<std::size_t>(n);
    const auto *const stop = static_cast<const char *>(std::memchr(bytes_.data(), stop_byte, stored_));
    length_ = stop != nullptr ? static_cast<std::size_t>(stop - bytes_.data()) : stored_;
    require(length_ < limit, "i < (1024 * 16)", "iniparser.c", "load_ini_file");
    bytes_[length_] = '\0';
    return ini_load::done;
}

bool varnel::ini_image::replace(const char *path, bounded_text &text) {
    owned_descriptor file(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, new_file_mode));
    struct stat status {};
    if (!file.is_open() || fstat(file.get(), &status) != 0) {
        return false;
    }
    const bool written = S_ISREG(status.st_mode) ? overwrite(file.get(), text, status.st_size)
                                                 : write_stream(file.get(), text.text());
    return file.close() == 0 && written;
}

// For a longer text empty lines are appended first: when the disk is full, the old text is still complete.
// One call then writes the new text, padded with empty lines, over all of the old one; truncating the file
// removes only those lines. Where the old file continues after an 0xFF, an 0xFF stays before the rest until
// then.
bool varnel::ini_image::overwrite(int descriptor, bounded_text &text, long long size) {
    const auto length = static_cast<long long>(text.text().size());
    ssize_t n = 0;
    if (is_within_limit(length) && lengthen(descriptor, size, length)) {
        text.fill_up(length_, '\n');
        if (size > static_cast<long long>(text.text().size())) {
            text.fill_up(text.text().size() + 1, static_cast<char>(stop_byte));
        }
        const std::string_view block = text.text();
        n = uninterrupted([&] { return pwrite(descriptor, block.data(), block.size(), 0); });
        if (n == static_cast<ssize_t>(block.size()) &&
            (size <= length || ftruncate(descriptor, length) == 0)) {
            return true;
        }
    }
    put_back(descriptor, static_cast<std::size_t>(std::max<ssize_t>(n, 0)), size);
    return false;
}

// These blocks exist already, so writing them does not fail on a full disk.
void varnel::ini_image::put_back(int descriptor, std::size_t touched, long long size) {
    if (length_ < stored_) {
        bytes_[length_] = static_cast<char>(stop_byte);
    }
    const std::size_t known = std::min(touched, stored_);
    static_cast<void>(uninterrupted([&] { return pwrite(descriptor, bytes_.data(), known, 0); }));
    static_cast<void>(uninterrupted([&] { return ftruncate(descriptor, size); }));
}
