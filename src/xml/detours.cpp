// SPDX-License-Identifier: Apache-2.0
#include "xml/detours.h"

#include <cstdlib>
#include <cstring>

namespace varnel::xml {

detours::~detours() {
    if (detours_ != first_.data()) {
        free(detours_);
    }
}

bool detours::grow() {
    const bool on_heap = detours_ != first_.data();
    auto *const grown =
        static_cast<detour *>(realloc(on_heap ? detours_ : nullptr, 2 * capacity_ * sizeof(detour)));
    if (grown == nullptr) {
        return false;
    }
    if (!on_heap) {
        memcpy(grown, first_.data(), sizeof first_);
    }
    detours_ = grown;
    capacity_ *= 2;
    return true;
}

bool detours::push(const xml_node *node, const xml_node *parent) {
    if (count_ == capacity_ && !grow()) {
        return false;
    }
    detours_[count_++] = {node, parent};
    return true;
}

const xml_node *detours::pop(const xml_node *node, const xml_node *linked) {
    const bool noted = count_ > 0 && detours_[count_ - 1].node == node;
    return noted ? detours_[--count_].parent : linked;
}

} // namespace varnel::xml
