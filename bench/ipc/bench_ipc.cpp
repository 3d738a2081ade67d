// SPDX-License-Identifier: Apache-2.0
// Compares the library's locks, queues and file transfer with what a daemon could use instead.
#include "benches.h"

int main(int argc, char **argv) {
    using namespace varnel::bench;
    const family queue{
        "queue", "Record queues",
        "Records go from one process to another, through our queue on a named pipe or through what "
        "the kernel offers instead. A post is a record lock, a write and an unlock, so that records "
        "of several writers never mix; the same three calls without our library are the floor to "
        "compare with, and a write without a lock shows the cost of the lock."};
    const family lock{"lock", "Locks",
                      "A free lock is taken and released: ours, the bare system call that it uses, and other "
                      "locks between processes."};
    const family transfer_family{
        "transfer", "File transfer",
        "A file in memory is copied over the loopback of a network of its own, from one "
        "process to another."};
    return run_benchmark(argc, argv,
                         {{"queues", queues},
                          {"writers", queue_writers},
                          {"idle", idle_queue},
                          {"locks", locks},
                          {"transfer", transfer},
                          {"clients", transfer_clients}},
                         {queue, lock, transfer_family});
}
