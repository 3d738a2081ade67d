/* SPDX-License-Identifier: Apache-2.0 */
/*
 * without_call seccomp|process_vm_readv PROGRAM ARGS...: becomes a program for which that system call fails with EPERM, as in
 * some containers.
 */
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

int main(int argc, char **argv) {
    if (argc < 3) {
        return 2;
    }
    const unsigned int call = strcmp(argv[1], "seccomp") == 0 ? SYS_seccomp : SYS_process_vm_readv;
    struct sock_filter instructions[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const struct sock_fprog filter = {sizeof instructions / sizeof *instructions, instructions};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        perror("seccomp");
        return 2;
    }
    execvp(argv[2], argv + 2);
    perror(argv[2]);
    return 127;
}
