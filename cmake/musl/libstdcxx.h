// SPDX-License-Identifier: Apache-2.0
#pragma once

// What the headers of libstdc++, when they are configured for glibc, expect of the C library and musl does not have. See
// toolchain.cmake.

#include <locale.h>
#include <pthread.h>
#include <stdint.h>

// NOLINTBEGIN(bugprone-reserved-identifier)
#define __GLIBC_PREREQ(major, minor) 0

typedef locale_t __locale_t;

// Masks of the table of __ctype_b_loc().
enum : uint16_t {
    _ISupper = 0x0100,
    _ISlower = 0x0200,
    _ISalpha = 0x0400,
    _ISdigit = 0x0800,
    _ISxdigit = 0x1000,
    _ISspace = 0x2000,
    _ISprint = 0x4000,
    _ISgraph = 0x8000,
    _ISblank = 0x0001,
    _IScntrl = 0x0002,
    _ISpunct = 0x0004,
    _ISalnum = 0x0008
};

// Only declared: nothing here waits by another clock.
extern "C" int pthread_cond_clockwait(pthread_cond_t *, pthread_mutex_t *, clockid_t, const timespec *);
extern "C" int pthread_mutex_clocklock(pthread_mutex_t *, clockid_t, const timespec *);
extern "C" int pthread_rwlock_clockrdlock(pthread_rwlock_t *, clockid_t, const timespec *);
extern "C" int pthread_rwlock_clockwrlock(pthread_rwlock_t *, clockid_t, const timespec *);
// NOLINTEND(bugprone-reserved-identifier)
