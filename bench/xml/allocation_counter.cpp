// SPDX-License-Identifier: Apache-2.0
// Preloaded into a process: counts its allocations and the most memory that it held at once.
#include <cstddef>
#include <cstdlib>

#include <malloc.h>

// The C library's own, under the names that remain when a program replaces malloc() and friends.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);

struct allocation_counts {
    unsigned long allocations;
    unsigned long held;
    unsigned long most_held;
};

allocation_counts bench_allocation_counts;
}

namespace {

void *taken(void *block) {
    allocation_counts &counts = bench_allocation_counts;
    ++counts.allocations;
    counts.held += malloc_usable_size(block);
    if (counts.held > counts.most_held) {
        counts.most_held = counts.held;
    }
    return block;
}

void *given_up(void *block) {
    bench_allocation_counts.held -= malloc_usable_size(block);
    return block;
}

} // namespace

void *malloc(size_t size) noexcept { return taken(__libc_malloc(size)); }
void *calloc(size_t count, size_t size) noexcept { return taken(__libc_calloc(count, size)); }
void *realloc(void *block, size_t size) noexcept { return taken(__libc_realloc(given_up(block), size)); }
void free(void *block) noexcept { __libc_free(given_up(block)); }
