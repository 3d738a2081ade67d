// SPDX-License-Identifier: Apache-2.0
#include "xml/entity.h"

#include <array>
#include <cstring>

namespace {

struct entity {
    const char *name;
    char character;
};

constexpr std::array<entity, 5> entities = {
    {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};

} // namespace

char varnel::xml::entity_character(const char *name, size_t length) {
    for (const entity &known : entities) {
        if (strncmp(name, known.name, length - 1) == 0) {
            return known.character;
        }
    }
    return '\0';
}
