// SPDX-License-Identifier: Apache-2.0
// What the tests of the tool change; see tool_test.py.

namespace {

constexpr int limit = 9;
constexpr int steps[] = {3, 4};

constexpr bool is_small(int value) { return value < limit; }

void note(int *calls) { ++*calls; }

} // namespace

extern "C" int limited(int value, int *calls) {
    note(calls); // counted by a test
    if (value >= 0 && is_small(value)) {
        return value;
    }
    return limit;
}

extern "C" int count_down(int from) {
    int sum = 0;
    while (from > 0) {
        sum += steps[1];
        from -= 1;
    }
    return sum;
}

extern "C" int never_called(int value) { return -value; }
