// SPDX-License-Identifier: Apache-2.0
// This library and four others on the same documents, in one process and turn by turn. Reading is from memory
// for the others and from a stream on a file (which lies in the page cache) for us; it includes freeing the
// tree, which is also measured alone. Writing is to a stream on a file, indented.
//
// bench_xml [ROUNDS]
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include "contenders.h"
#include "documents.h"

namespace {

/// Processor time of this process, in the kernel too: what else the machine does is left out.
double processor_milliseconds() {
    timespec now{};
    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double milliseconds(const std::function<void()> &work) {
    const double begin = processor_milliseconds();
    work();
    return processor_milliseconds() - begin;
}

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

std::FILE *stream_of(const std::string &text) {
    std::FILE *const stream = tmpfile();
    (void)fwrite(text.data(), 1, text.size(), stream);
    rewind(stream);
    return stream;
}

struct row {
    std::vector<double> read;  // without freeing
    std::vector<double> freed; // freeing alone
    std::vector<double> written;

    [[nodiscard]] double total() const {
        std::vector<double> sums;
        for (size_t i = 0; i < read.size(); ++i) {
            sums.push_back(read[i] + freed[i]);
        }
        return median(sums);
    }
};

[[noreturn]] void give_up(const std::string &message) {
    (void)fprintf(stderr, "bench_xml: %s\n", message.c_str());
    exit(1);
}

void measure(contender &who, const document &what, std::FILE *in, row &times) {
    rewind(in);
    bool good = true;
    times.read.push_back(milliseconds([&] { good = who.read(what.text, in); }));
    if (!good) {
        give_up(std::string(who.name()) + " cannot read " + what.name);
    }
    std::FILE *const out = tmpfile();
    bool writes = true;
    const double written = milliseconds([&] {
        writes = who.write(out);
        (void)fflush(out);
    });
    (void)fclose(out);
    if (writes) {
        times.written.push_back(written);
    }
    times.freed.push_back(milliseconds([&] { who.free_tree(); }));
}

void print_line(const char *name, const row &times, const row &ours) {
    printf("  %-15s %9.2f %9.2f %9.2f %7.2f", name, median(times.read), median(times.freed), times.total(),
           times.total() / ours.total());
    if (!times.written.empty()) {
        printf(" %10.2f %7.2f", median(times.written), median(times.written) / median(ours.written));
    }
    printf("\n");
}

void measure_document(const document &what, unsigned rounds) {
    std::FILE *const in = stream_of(what.text);
    const auto all = contenders();
    std::vector<row> rows(all.size());
    row floor_row;
    allocation_floor floor(in);
    for (unsigned round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < all.size(); ++i) {
            const size_t turn = (i + round) % all.size(); // nobody always follows the same one
            measure(*all[turn], what, in, rows[turn]);
        }
        floor_row.read.push_back(milliseconds([&] { floor.allocate(); }));
        floor_row.freed.push_back(milliseconds([&] { floor.release(); }));
    }
    (void)fclose(in);
    printf("\n%s (%.1f MB)\n  %-15s %9s %9s %9s %7s %10s %7s\n", what.name.c_str(),
           static_cast<double>(what.text.size()) / 1e6, "milliseconds", "read", "free", "both", "ratio",
           "write", "ratio");
    for (size_t i = 0; i < all.size(); ++i) {
        print_line(all[i]->name(), rows[i], rows[0]);
    }
    print_line("floor", floor_row, rows[0]);
}

struct allocation_counts {
    unsigned long allocations;
    unsigned long held;
    unsigned long most_held;
};

/// In a process of its own, with the counter preloaded: one reading.
int count_allocations(const std::vector<document> &documents, const std::string &which) {
    auto *const counts = static_cast<allocation_counts *>(dlsym(RTLD_DEFAULT, "bench_allocation_counts"));
    if (counts == nullptr) {
        give_up("the allocation counter is not loaded");
    }
    for (const document &what : documents) {
        for (const auto &who : contenders()) {
            if (what.name + "/" + who->name() == which) {
                std::FILE *const in = stream_of(what.text);
                (void)fgetc(in);
                rewind(in);
                counts->most_held = counts->held;
                const allocation_counts before = *counts;
                (void)who->read(what.text, in);
                const allocation_counts after = *counts;
                (void)printf("%lu %lu\n", after.allocations - before.allocations,
                             after.most_held - before.held);
                return 0;
            }
        }
    }
    return 2;
}

void print_memory(const char *self, const std::vector<document> &documents) {
    printf("\nmemory of one reading\n  %-36s %12s %12s\n", "", "allocations", "peak KiB");
    for (const document &what : documents) {
        for (const auto &who : contenders()) {
            const std::string which = what.name + "/" + who->name();
            const std::string command =
                std::string("LD_PRELOAD='" ALLOCATION_COUNTER "' '") + self + "' --count '" + which + "'";
            std::FILE *const child = popen(command.c_str(), "r");
            unsigned long allocations = 0;
            unsigned long peak = 0;
            if (child == nullptr || fscanf(child, "%lu %lu", &allocations, &peak) != 2) {
                give_up("counting failed: " + which);
            }
            (void)pclose(child);
            printf("  %-36s %12lu %12lu\n", which.c_str(), allocations, peak / 1024);
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    const std::vector<document> documents = measured_documents();
    if (documents.empty()) {
        return 1;
    }
    if (argc == 3 && strcmp(argv[1], "--count") == 0) {
        return count_allocations(documents, argv[2]);
    }
    const long rounds = argc > 1 ? strtol(argv[1], nullptr, 10) : 31;
    if (rounds < 1) {
        give_up("ROUNDS must be 1 or more");
    }
    // One policy for everybody: what is freed stays with the process, so that no one pays for getting it
    // back.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    printf("medians of %ld interleaved rounds; ratios are to us, above 1 is slower than us\n", rounds);
    for (const document &what : documents) {
        measure_document(what, static_cast<unsigned>(rounds));
    }
    print_memory(argv[0], documents);
    return 0;
}
