// SPDX-License-Identifier: Apache-2.0
// Log entries per second: text files of limited size, ours and spdlog's rotating sink, and the cost of
// beginning a new file; lines to the system log, ours, syslog() and the command logger. Files and the system
// log's socket are in memory, in the benchmark's own mount namespace.
//
// bench_log [--json FILE] [files|rotation|syslog]...
#include "log/parts.h"

int main(int argc, char **argv) {
    using namespace varnel::bench;
    const family log{"log", "Logs",
                     "Text files that are moved when they exceed a limit, and lines to the system log. All "
                     "contenders of a "
                     "figure write the same entries, which are counted or compared where they arrive."};
    return run_benchmark(argc, argv, {{"files", text_files}, {"rotation", rotation}, {"syslog", system_log}},
                         {log});
}
