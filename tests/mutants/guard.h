// SPDX-License-Identifier: Apache-2.0
#pragma once

// Included first by each rewritten source. Includes nothing, because sources set macros before their first header, and calls
// the C library by other names, because test programs replace its functions.

#ifndef VARNEL_MUTANT_COMPILED
#define VARNEL_MUTANT_COMPILED 0 // the mutant in what the compiler evaluates
#endif

namespace varnel_mutants {

extern "C" char *varnel_mutants_getenv(const char *) asm("getenv");
extern "C" long varnel_mutants_strtol(const char *, char **, int) asm("strtol");
extern "C" long varnel_mutants_syscall(long, ...) asm("syscall");

[[gnu::visibility("hidden")]] inline int selected = 0; ///< 0: none
[[gnu::visibility("hidden")]] inline unsigned char *reached =
    nullptr; ///< a byte for each mutant, when they are recorded

/// Maps the file in which all processes of a test note what they reach. The tool made it, so it is large enough.
inline unsigned char *mapped(const char *path) {
    constexpr int open_call = 257; // openat, close and mmap of x86-64
    constexpr int close_call = 3;
    constexpr int map_call = 9;
    constexpr long size = 1 << 20;
    const long descriptor = varnel_mutants_syscall(open_call, -100, path, 2);
    if (descriptor < 0) {
        return nullptr;
    }
    const long address = varnel_mutants_syscall(map_call, nullptr, size, 3, 1, descriptor, 0L);
    varnel_mutants_syscall(close_call, descriptor);
    return address > 0 ? reinterpret_cast<unsigned char *>(address) : nullptr;
}

/// Before any other code of the program. Each source has one; the first reads the environment.
[[gnu::constructor(101)]] static void select_mutant() {
    if (const char *const number = varnel_mutants_getenv("VARNEL_MUTANT")) {
        selected = static_cast<int>(varnel_mutants_strtol(number, nullptr, 10));
    }
    const char *const record = varnel_mutants_getenv("VARNEL_MUTANTS_REACHED");
    if (record != nullptr && reached == nullptr) {
        reached = mapped(record);
    }
}

[[gnu::noinline, gnu::cold, gnu::visibility("hidden")]] inline bool note(int number) {
    reached[number] = 1;
    return false;
}

/// Whether mutant `number` is to be run.
[[gnu::always_inline]] inline constexpr bool on(int number) {
    if (__builtin_is_constant_evaluated()) {
        return number == VARNEL_MUTANT_COMPILED;
    }
    return selected == number || (reached != nullptr && note(number));
}

} // namespace varnel_mutants
