// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "varnel/xml_output.h"

namespace varnel::xml {

/// An xml_output to write many pieces to. Each piece is one call of the sink's write function; except that
/// pieces for a stdio stream are gathered as long as the stream would only put them into its own buffer,
/// where nothing can fail and no other process can see them. A stream is written to only through one `sink` at a time,
/// and is complete when that is destroyed.
class sink {
  public:
    explicit sink(xml_output &out);
    ~sink() { flush(); }
    sink(const sink &) = delete;
    sink &operator=(const sink &) = delete;

    void bytes(const char *piece, std::size_t length) {
        if (length < room()) {
            std::memcpy(gathered_.data() + used_, piece, length);
            used_ += length;
        } else {
            send(piece, length);
        }
    }
    void character(char c) { bytes(&c, 1); }
    template <std::size_t Size>
    void literal(const char (&text)[Size]) {
        bytes(text, Size - 1);
    }
    /// A piece of one or more of the same character, so many times; at most once where the sink has an error.
    void repeat(std::string_view piece, int times);
    /// A null pointer is the empty string.
    void string(const char *s);
    /// As xml_output_escape_string(); a null pointer is the empty string.
    void escaped(const char *s);
    /// As it is, or escaped.
    void value(const char *s, bool raw) { raw ? string(s) : escaped(s); }

    [[nodiscard]] bool good() const { return out_.error == 0; }
    void fail(int error) { out_.error = error; }
    void count_node() { ++out_.count; }

  private:
    template <unsigned stops>
    std::size_t copy_until(const char *s, bool in_slab);
    [[nodiscard]] std::size_t room() const { return limit_ - used_; }
    void make_room();
    void send(const char *piece, std::size_t length);
    const char *send_plain(const char *s);
    void send_run(const char *run, std::size_t length);
    void call(const char *piece, std::size_t length);
    void flush();
    [[nodiscard]] std::size_t stream_room() const;

    xml_output &out_;
    const bool runs_;       // plain bytes may go out many at a time: to a descriptor or to a growable string
    const bool stream_;     // the library's write function for streams
    std::size_t used_ = 0;  // bytes gathered
    std::size_t limit_ = 0; // bytes that may be
    std::array<char, 2048> gathered_;
};

} // namespace varnel::xml
