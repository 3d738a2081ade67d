// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/filter.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace varnel::sim::device_files {

namespace {

#if defined __x86_64__
constexpr uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined __aarch64__
constexpr uint32_t architecture = AUDIT_ARCH_AARCH64;
#elif defined __riscv && __riscv_xlen == 64
constexpr uint32_t architecture = AUDIT_ARCH_RISCV64;
#else
constexpr uint32_t architecture =
    0; // 32 bits: structures of system calls have other layouts than those that are served
#endif

/// Requests of i2c-dev: 0x0700 to 0x07FF (linux/i2c-dev.h).
constexpr uint32_t i2c_requests = 0x0700;
constexpr uint32_t i2c_request_mask = 0xFFFFFF00;
/// Requests of linux/gpio.h have this number in their second byte.
constexpr uint32_t gpio_requests = 0xB400;
constexpr uint32_t gpio_request_mask = 0x0000FF00;

constexpr std::initializer_list<uint32_t> calls_with_paths = {
#ifdef SYS_open
    SYS_open,   SYS_creat,   SYS_access,
#endif
#ifdef SYS_stat
    SYS_stat,   SYS_lstat,   SYS_readlink,
#endif
    SYS_openat, SYS_openat2, SYS_faccessat, SYS_faccessat2, SYS_readlinkat,
};

/// A call whose flags may say that it means its descriptor (AT_EMPTY_PATH): the C library's fstat() is one.
struct call_with_path_or_descriptor {
    uint32_t number;
    std::size_t flags;
};
constexpr std::initializer_list<call_with_path_or_descriptor> calls_with_path_or_descriptor = {
#ifdef SYS_newfstatat
    {SYS_newfstatat, 3},
#endif
    {SYS_statx, 2},
};

constexpr std::initializer_list<uint32_t> calls_with_descriptors = {
    SYS_read, SYS_write, SYS_dup, SYS_fcntl, SYS_fstat, SYS_getdents64,
};

constexpr std::initializer_list<uint32_t> calls_of_time = {
#ifdef SYS_poll
    SYS_poll,          SYS_epoll_wait,
#endif
#ifdef SYS_select
    SYS_select,
#endif
#ifdef SYS_time
    SYS_time,          SYS_alarm,
#endif
#ifdef SYS_fork
    SYS_fork,          SYS_vfork,
#endif
    SYS_clone,         SYS_clone3,
#ifdef SYS_arch_prctl
    SYS_arch_prctl,
#else
    SYS_set_tid_address,
#endif
    SYS_clock_gettime, SYS_gettimeofday,    SYS_nanosleep,       SYS_clock_nanosleep, SYS_ppoll,
    SYS_pselect6,      SYS_epoll_pwait,     SYS_epoll_pwait2,    SYS_rt_sigtimedwait, SYS_semtimedop,
    SYS_mq_timedsend,  SYS_mq_timedreceive, SYS_timerfd_settime, SYS_timerfd_gettime, SYS_setitimer,
    SYS_getitimer,     SYS_timer_create,    SYS_timer_settime,   SYS_timer_gettime,   SYS_timer_getoverrun,
    SYS_timer_delete,  SYS_sched_yield,     SYS_sendmsg,         SYS_connect,
};

/// A program for the kernel, written from front to back.
class bpf_program {
  public:
    void load(std::size_t offset) {
        instructions_.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset)));
    }
    void mask(uint32_t bits) { instructions_.push_back(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, bits)); }
    void finish(uint32_t action) { instructions_.push_back(BPF_STMT(BPF_RET | BPF_K, action)); }
    /// Skips `then` instructions if the comparison holds, `otherwise` if not.
    void skip(uint16_t comparison, uint32_t value, uint8_t then, uint8_t otherwise) {
        instructions_.push_back(
            BPF_JUMP(static_cast<uint16_t>(BPF_JMP | comparison | BPF_K), value, then, otherwise));
    }

    int install() {
        sock_fprog program{static_cast<unsigned short>(instructions_.size()), instructions_.data()};
        unsigned int flags = SECCOMP_FILTER_FLAG_NEW_LISTENER;
#ifdef SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV // a signal must not make a program repeat a transfer
        const long uninterrupted = syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
                                           flags | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV, &program);
        if (uninterrupted >= 0) {
            return static_cast<int>(uninterrupted);
        }
#endif
        return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program));
    }

  private:
    std::vector<sock_filter> instructions_;
};

/// The low half of an argument of the system call.
constexpr std::size_t argument(std::size_t index) {
    return offsetof(seccomp_data, args) + index * sizeof(uint64_t);
}

void ask_about(bpf_program &program, std::initializer_list<uint32_t> calls) {
    for (const uint32_t call : calls) {
        program.skip(BPF_JEQ, call, 0, 1);
        program.finish(SECCOMP_RET_USER_NOTIF);
    }
}

void ask_about_requests(bpf_program &program) {
    program.skip(BPF_JEQ, SYS_ioctl, 0, 8);
    program.load(argument(1));
    program.mask(i2c_request_mask);
    program.skip(BPF_JEQ, i2c_requests, 3, 0);
    program.load(argument(1));
    program.mask(gpio_request_mask);
    program.skip(BPF_JEQ, gpio_requests, 0, 1);
    program.finish(SECCOMP_RET_USER_NOTIF);
    program.finish(SECCOMP_RET_ALLOW);
}

/// For calls with a device file's number in their first argument; five instructions.
void ask_about_number(bpf_program &program) {
    program.load(argument(0));
    program.skip(BPF_JGE, first_device_descriptor, 0, 2);
    program.skip(BPF_JGT, last_device_descriptor, 1, 0);
    program.finish(SECCOMP_RET_USER_NOTIF);
    program.finish(SECCOMP_RET_ALLOW);
}

void ask_about_paths_and_descriptors(bpf_program &program) {
    for (const auto &[number, flags] : calls_with_path_or_descriptor) {
        program.skip(BPF_JEQ, number, 0, 8);
        program.load(argument(flags));
        program.skip(BPF_JSET, AT_EMPTY_PATH, 1, 0);
        program.finish(SECCOMP_RET_USER_NOTIF);
        ask_about_number(program);
    }
}

void ask_about_descriptors(bpf_program &program) {
    for (const uint32_t call : calls_with_descriptors) {
        program.skip(BPF_JEQ, call, 0, 5);
        ask_about_number(program);
    }
}

/// FUTEX_WAIT and FUTEX_WAIT_BITSET with a limit.
void ask_about_timed_futexes(bpf_program &program) {
    static constexpr uint32_t futex_commands = 0x7F;
    program.skip(BPF_JEQ, SYS_futex, 0, 10);
    program.load(argument(1));
    program.mask(futex_commands);
    program.skip(BPF_JEQ, FUTEX_WAIT_BITSET, 1, 0);
    program.skip(BPF_JEQ, FUTEX_WAIT, 0, 5);
    program.load(argument(3));
    program.skip(BPF_JEQ, 0, 0, 2);
    program.load(argument(3) + sizeof(uint32_t));
    program.skip(BPF_JEQ, 0, 1, 0);
    program.finish(SECCOMP_RET_USER_NOTIF);
    program.finish(SECCOMP_RET_ALLOW);
}

} // namespace

int install_filter(looked_at what) {
    if (architecture == 0) {
        errno = ENOSYS;
        return -1;
    }
    bpf_program program;
    program.load(offsetof(seccomp_data, arch));
    program.skip(BPF_JEQ, architecture, 1, 0);
    program.finish(SECCOMP_RET_ALLOW); // a program for another machine
    program.load(offsetof(seccomp_data, nr));
    if (what == looked_at::device_files_and_time) {
        ask_about(program, calls_of_time);
        ask_about_timed_futexes(program);
    }
    ask_about(program, calls_with_paths);
    ask_about_paths_and_descriptors(program);
    ask_about_requests(program);
    ask_about_descriptors(program);
    program.finish(SECCOMP_RET_ALLOW);
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 ? program.install() : -1;
}

} // namespace varnel::sim::device_files
