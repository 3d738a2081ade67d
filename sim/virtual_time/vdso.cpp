// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/vdso.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <vector>

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/auxv.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/descriptor.h"

namespace varnel::sim::virtual_time {

namespace {

using code = std::array<uint8_t, 8>;

/// A place in the vDSO, which is the same file in all processes.
struct patch {
    uint64_t offset;
    code instructions;
};

#ifdef __x86_64__

constexpr bool supported = true;

/// mov $number, %eax; syscall; ret
constexpr code system_call(uint8_t number) { return {0xB8, number, 0, 0, 0, 0x0F, 0x05, 0xC3}; }

struct clock_function {
    const char *name;
    uint8_t call;
};
constexpr std::array clock_functions{clock_function{"__vdso_clock_gettime", SYS_clock_gettime},
                                     clock_function{"__vdso_gettimeofday", SYS_gettimeofday},
                                     clock_function{"__vdso_time", SYS_time}};

std::vector<patch> patches_of(void *vdso) {
    std::vector<patch> patches;
    for (const auto &[name, call] : clock_functions) {
        if (const void *const place = dlsym(vdso, name); place != nullptr) {
            patches.push_back(
                {reinterpret_cast<uint64_t>(place) - getauxval(AT_SYSINFO_EHDR), system_call(call)});
        }
    }
    return patches;
}

#else

constexpr bool supported = false;
std::vector<patch> patches_of(void * /*vdso*/) { return {}; }

#endif

const std::vector<patch> &patches() {
    static const std::vector<patch> all = [] {
        void *const vdso = dlopen("linux-vdso.so.1", RTLD_LAZY | RTLD_NOLOAD);
        return vdso == nullptr ? std::vector<patch>{} : patches_of(vdso);
    }();
    return all;
}

/// Where a process has its vDSO; nothing without one.
std::optional<uint64_t> vdso_of(pid_t process) {
    std::ifstream vector(fmt::format("/proc/{}/auxv", process), std::ios::binary);
    Elf64_auxv_t entry{};
    while (vector.read(reinterpret_cast<char *>(&entry), sizeof entry)) {
        if (entry.a_type == AT_SYSINFO_EHDR) {
            return entry.a_un.a_val;
        }
    }
    return std::nullopt;
}

} // namespace

bool is_supported() { return supported; }

bool make_clocks_system_calls(pid_t process) {
    const auto base = vdso_of(process);
    if (!base) {
        return true;
    }
    const host::descriptor memory(open(fmt::format("/proc/{}/mem", process).c_str(), O_RDWR | O_CLOEXEC));
    bool done = !patches().empty();
    for (const auto &[offset, instructions] : patches()) {
        const ssize_t written = pwrite(memory.get(), instructions.data(), instructions.size(),
                                       static_cast<off_t>(*base + offset));
        done = written == static_cast<ssize_t>(instructions.size()) && done;
    }
    return done;
}

} // namespace varnel::sim::virtual_time
