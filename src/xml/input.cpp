// SPDX-License-Identifier: Apache-2.0
#include "xml/input.h"

#include "xml/memory.h"

namespace varnel::xml {

// Without an error a character that is given back is read again before anyone looks, so stepping back is as
// good as pushing back. After an error reading may end there, and callers find the character in its slot.
void input::look_into_buffer() {
    const bool ready =
        source_.position < source_.fill && source_.pushed == nothing_pushed && source_.error == 0;
    begin_ = at_ = source_.buffer + source_.position;
    end_ = ready ? source_.buffer + source_.fill : at_;
}

int input::get_beyond_buffer() {
    report_position();
    const int c = xml_refiller_get_char(&source_);
    look_into_buffer();
    document_.line += c == '\n' ? 1 : 0;
    return c;
}

void input::push_back(int c) {
    report_position();
    xml_refiller_set_char(&source_, c);
    look_into_buffer();
}

char *input::copied(const token &of) {
    return of.bytes == copy_.data() && copy_.is_on_heap() ? copy_.release(of.length)
                                                          : varnel::xml::copied(of.bytes, of.length);
}

} // namespace varnel::xml
