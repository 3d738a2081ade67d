// SPDX-License-Identifier: Apache-2.0
#include "varnel/debug_log.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <syslog.h>
#include <unistd.h>

namespace {

constexpr std::size_t line_size = DEBUG_LOG_LINE_MAX + 1; // with its terminator
constexpr int dump_row = 20;                              // bytes of a dump in one line
constexpr std::size_t byte_width = 3;

std::atomic<bool> opened = false;

const char *level_name(int32_t priority) {
    static constexpr std::array names{"EMERGENCY", "ALERT",  "CRITICAL", "ERROR",
                                      "WARNING",   "NOTICE", "INFO",     "DEBUG"};
    // cppcheck-suppress CastIntegerToAddressAtReturn // cppcheck does not see that the array holds pointers
    return names[static_cast<uint32_t>(priority) & 7U];
}

/// Up to one row of bytes in hexadecimal, three characters each.
class dump_text {
  public:
    void append(uint8_t byte) {
        std::snprintf(text_.data() + length_, text_.size() - length_, " %2x", byte);
        length_ += byte_width;
    }
    /// The text stays until the next append().
    void clear() { length_ = 0; }
    [[nodiscard]] const char *c_str() const { return text_.data(); }

  private:
    std::array<char, dump_row * byte_width + 1> text_{};
    std::size_t length_ = 0;
};

/// Position of a dump in the caller's source.
struct dump_place {
    int32_t priority;
    const char *file;
    int32_t line;

    void log(const dump_text &bytes, const char *ending) const {
        syslog(priority, "[%d %s][%s:%d] %s %s", getpid(), level_name(priority), file, line, bytes.c_str(),
               ending);
    }
};

} // namespace

void IDBG_LINUXAPP_DbgInit() {
    if (opened.load(std::memory_order_relaxed)) {
        return;
    }
    openlog(nullptr, LOG_PID, LOG_LOCAL6);
    setlogmask(0xFF);
    opened.store(true, std::memory_order_relaxed);
}

void IDBG_LINUXAPP_DbgLog(int32_t priority, const char *format, ...) {
    IDBG_LINUXAPP_DbgInit();
    std::array<char, line_size> line;
    const int prefix = std::snprintf(line.data(), line.size(), "[%d %s]", getpid(), level_name(priority));
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data() + prefix, line.size() - static_cast<std::size_t>(prefix), format, arguments);
    va_end(arguments);
    syslog(priority, "%s", line.data());
}

void IDBG_LINUXAPP_DbgLogBuf(int32_t priority, const char *file, int32_t line, const uint8_t *buffer,
                             int32_t length) {
    if (length == 0) {
        return;
    }
    const dump_place place{priority, file, line};
    dump_text row;
    place.log(row, "BUFFER START");
    for (int32_t i = 0; i < length; ++i) {
        if (i % dump_row == 0 && i != 0) {
            place.log(row, "");
            row.clear();
        }
        row.append(buffer[i]);
    }
    place.log(row, "END");
}
