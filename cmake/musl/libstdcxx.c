/* SPDX-License-Identifier: Apache-2.0 */
/* What libstdc++.a, when it was built for glibc, calls and musl does not have: enough for programs in the C locale. See
   toolchain.cmake. */
/* NOLINTBEGIN(bugprone-reserved-identifier): the names are the C library's */
#define _GNU_SOURCE
#include <stddef.h>
#include <stdint.h>
#include <sys/random.h>
#include <time.h>

const unsigned short **__ctype_b_loc(void);
const int32_t **__ctype_tolower_loc(void);
const int32_t **__ctype_toupper_loc(void);

char __libc_single_threaded = 0;

/* glibc's locale_t points to this; libstdc++ reads the tables. */
struct glibc_locale {
    const void *categories[13];
    const unsigned short *classes;
    const int32_t *to_lower;
    const int32_t *to_upper;
    const char *names[13];
};

static struct glibc_locale c_locale;

struct glibc_locale *__newlocale(int mask, const char *name, struct glibc_locale *base) {
    (void)mask;
    (void)name;
    (void)base;
    c_locale.classes = *__ctype_b_loc();
    c_locale.to_lower = *__ctype_tolower_loc();
    c_locale.to_upper = *__ctype_toupper_loc();
    for (size_t i = 0; i < sizeof c_locale.names / sizeof *c_locale.names; ++i) {
        c_locale.names[i] = "C";
    }
    return &c_locale;
}

struct glibc_locale *__duplocale(struct glibc_locale *locale) {
    return locale;
}
struct glibc_locale *__uselocale(struct glibc_locale *locale) {
    (void)locale;
    return &c_locale;
}
void __freelocale(struct glibc_locale *locale) { (void)locale; }

size_t __strftime_l(char *text, size_t size, const char *format, const struct tm *time,
                    struct glibc_locale *locale) {
    (void)locale;
    return strftime(text, size, format, time);
}

/* Without it, exceptions are unwound through dl_iterate_phdr(). */
int _dl_find_object(const void *address, void *result) {
    (void)address;
    (void)result;
    return -1;
}

uint32_t arc4random(void) {
    uint32_t number = 0;
    getrandom(&number, sizeof number, 0);
    return number;
}
/* NOLINTEND(bugprone-reserved-identifier) */
