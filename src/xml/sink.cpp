// SPDX-License-Identifier: Apache-2.0
#include "xml/sink.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <stdio_ext.h>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <unistd.h>

#include "varnel/xml_reader.h"
#include "xml/character.h"
#include "xml/slab.h"

namespace {

constexpr std::size_t least_buffer = 512; // streams write past smaller ones as they please

constexpr bool is_plain(char c) { return !varnel::xml::is(c, varnel::xml::markup | varnel::xml::terminator); }

#ifdef __SSE2__
constexpr std::size_t at_once = sizeof(__m128i);

/// Whether so many bytes of a string can be read here though it may end before: they lie in one page. Of blocks of
/// malloc() only aligned bytes are read, which valgrind allows.
bool can_copy_many(const char *at, bool in_slab) {
    constexpr std::size_t page = 4096;
    return in_slab ? varnel::xml::address_of(at) % page <= page - at_once
                   : varnel::xml::address_of(at) % at_once == 0;
}

/// How many of the copied bytes come before one of a class: NUL, and markup if asked for.
template <unsigned stops>
[[gnu::no_sanitize_address, gnu::no_sanitize_thread]] std::size_t copy_many(char *to, const char *from) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), bytes);
    __m128i found = _mm_cmpeq_epi8(bytes, _mm_setzero_si128());
    if constexpr ((stops & varnel::xml::markup) != 0) {
        // '"' and '&' differ in one bit, '<' and '>' in another.
        const __m128i a = _mm_cmpeq_epi8(_mm_and_si128(bytes, _mm_set1_epi8(~4)), _mm_set1_epi8('"'));
        const __m128i b = _mm_cmpeq_epi8(_mm_and_si128(bytes, _mm_set1_epi8(~2)), _mm_set1_epi8('<'));
        const __m128i c = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\''));
        found = _mm_or_si128(_mm_or_si128(found, a), _mm_or_si128(b, c));
    }
    const auto marks = static_cast<unsigned>(_mm_movemask_epi8(found));
    return marks != 0 ? static_cast<std::size_t>(std::countr_zero(marks)) : at_once;
}
#endif

bool sends_runs(xml_output_function write) {
    return write == xml_output_function_to_file_descriptor || write == xml_output_function_to_sgs;
}

} // namespace

namespace varnel::xml {

sink::sink(xml_output &out)
    : out_(out), runs_(sends_runs(out.write)), stream_(out.write == xml_output_function_to_file_stream) {}

/// What the stream takes into its buffer without passing anything on, however many bytes come at once; the
/// byte that fills the buffer is sent to the stream at once, and so is the first piece for a stream that has no
/// buffer yet. Only the C library's <stdio_ext.h> knows this; a call of the stream for each piece makes writing
/// freedesktop.org.xml take 5.5 times as long.
std::size_t sink::stream_room() const {
    std::FILE *const stream = out_.target.stream;
    if (!stream_ || __fwriting(stream) == 0 || __flbf(stream) != 0 || std::ferror(stream) != 0) {
        return 0;
    }
    const std::size_t size = __fbufsize(stream);
    const std::size_t pending = __fpending(stream);
    return size >= least_buffer && pending < size ? std::min(size - pending - 1, gathered_.size()) : 0;
}

void sink::flush() {
    if (used_ > 0) {
        std::fwrite(gathered_.data(), 1, used_, out_.target.stream);
        used_ = 0;
    }
}

void sink::call(const char *piece, std::size_t length) {
    out_.write(&out_, piece, static_cast<unsigned>(length));
}

/// Passes on what is gathered, and learns how much may be gathered now.
void sink::make_room() {
    flush();
    limit_ = stream_room();
}

/// A piece that has no room now.
void sink::send(const char *piece, std::size_t length) {
    make_room();
    if (length < room()) {
        bytes(piece, length);
    } else {
        call(piece, length);
        make_room();
    }
}

/// Copies a string to what is gathered, without counting it yet, up to a byte of a class or as long as there
/// is room.
template <unsigned stops>
std::size_t sink::copy_until(const char *s, [[maybe_unused]] bool in_slab) {
    char *const to = gathered_.data() + used_;
    const std::size_t most = room();
    std::size_t length = 0;
    while (length != most) {
#ifdef __SSE2__
        if (most - length >= at_once && can_copy_many(s + length, in_slab)) {
            const std::size_t copied = copy_many<stops>(to + length, s + length);
            length += copied;
            if (copied != at_once) {
                break;
            }
            continue;
        }
#endif
        if (is(s[length], stops)) {
            break;
        }
        to[length] = s[length];
        ++length;
    }
    return length;
}

void sink::string(const char *s) {
    s = s != nullptr ? s : "";
    const std::size_t length = copy_until<terminator>(s, is_string_piece(s));
    if (length < room()) {
        used_ += length;
    } else { // a piece is never split: the stream decides where
        bytes(s, length + std::strlen(s + length));
    }
}

void sink::repeat(std::string_view piece, int times) {
    const std::size_t length = piece.size() * static_cast<std::size_t>(std::max(times, 0));
    if (good() && length < room()) {
        std::memset(gathered_.data() + used_, piece.front(), length);
        used_ += length;
        return;
    }
    for (int i = 0; i < times && (i == 0 || good()); ++i) {
        bytes(piece.data(), piece.size());
    }
}

/// Sends plain bytes that could not be gathered, at least one of them. What is left.
const char *sink::send_plain(const char *s) {
    if (!runs_ || !good()) {
        bytes(s, 1);
        return s + 1;
    }
    const char *const run = s;
    while (is_plain(*s)) {
        ++s;
    }
    send_run(run, static_cast<std::size_t>(s - run));
    return s;
}

/// With the outcome of one call for each byte, in fewer calls. A growable string takes what has room, so that it grows as by
/// single bytes; of what a descriptor does not take as a whole, some bytes may fit (pipe(7), O_NONBLOCK).
void sink::send_run(const char *run, std::size_t length) {
    while (length > 0 && good()) {
        std::size_t sent = 0;
        if (out_.write == xml_output_function_to_file_descriptor) {
            sent = static_cast<std::size_t>(std::max<ssize_t>(write(out_.target.descriptor, run, length), 0));
        } else if (const xml_sgs &to = *out_.target.sgs; to.length < to.capacity) {
            sent = std::min<std::size_t>(length, to.capacity - to.length - 1);
            xml_sgs_append_lengthed_string(out_.target.sgs, run, static_cast<unsigned>(sent));
        }
        if (sent == 0) {
            call(run, 1);
            sent = 1;
        }
        run += sent;
        length -= sent;
    }
}

void sink::escaped(const char *s) {
    const bool in_slab = is_string_piece(s);
    bool going_on = s != nullptr;
    while (going_on) {
        if (good()) {
            const std::size_t length = copy_until<markup | terminator>(s, in_slab);
            used_ += length;
            s += length;
        }
        if (*s == '\0') {
            return;
        }
        if (is_plain(*s)) {
            s = send_plain(s);
        } else {
            const char *const text = std::ranges::find(entities, *s++, &entity::character)->text;
            bytes(text, std::strlen(text));
        }
        going_on = good();
    }
}

} // namespace varnel::xml
