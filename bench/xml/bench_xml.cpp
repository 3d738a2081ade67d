// SPDX-License-Identifier: Apache-2.0
// This library and four others on the same documents, turn by turn, each turn in a process of its own: in a
// shared one, whoever comes next pays for the heap that many small frees leave behind.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <malloc.h>

#include "support/processes.h"
#include "support/results.h"
#include "xml/allocations.h"
#include "xml/contenders.h"
#include "xml/documents.h"

namespace varnel::bench {

namespace {

constexpr int rounds = 31;
constexpr int growth_rounds = 15;

template <typename Work>
double milliseconds(const Work &work) {
    const double before = processor_seconds();
    work();
    return (processor_seconds() - before) * 1e3;
}

role role_of(const tree_library &who) { return who.is_ours() ? role::ours : role::peer; }

void read_or_throw(tree_library &who, const document &what, std::FILE *in) {
    rewind(in);
    if (!who.read(what.text, in)) {
        throw std::runtime_error(std::string(who.name()) + " cannot read " + what.name);
    }
}

/// Milliseconds for reading, for freeing the tree, for both, and for writing.
std::vector<double> measure(tree_library &who, const document &what, std::FILE *in) {
    const double read = milliseconds([&] { read_or_throw(who, what, in); });
    const stream out = new_stream();
    bool writes = true;
    const double written = milliseconds([&] {
        writes = who.write(out.get());
        (void)fflush(out.get());
    });
    const double freed = milliseconds([&] { who.free_tree(); });
    return {read, freed, read + freed, writes ? written : std::nan("")};
}

std::vector<double> measure(allocation_floor &floor) {
    const double read = milliseconds([&] { floor.allocate(); });
    const double freed = milliseconds([&] { floor.release(); });
    return {read, freed, read + freed, std::nan("")};
}

/// What `measure` finds the third time in a process of its own: nobody pays for the heap that another one
/// leaves, or for getting memory from the system.
template <typename Measure>
std::vector<double> third_time_apart(std::size_t count, const Measure &measure) {
    return measured_apart(count, [&] {
        (void)measure();
        (void)measure();
        return measure();
    });
}

void measure_document(results &found, const document &what) {
    constexpr std::size_t values = 4;
    const stream in = stream_of(what.text);
    std::vector<contender_of_several> contenders;
    const auto libraries = tree_libraries();
    contenders.reserve(libraries.size() + 1);
    for (const auto &who : libraries) {
        contenders.push_back(
            {who->name(), role_of(*who),
             [&] { return third_time_apart(values, [&] { return measure(*who, what, in.get()); }); }});
    }
    contenders.push_back({"allocations alone", role::floor, [&] {
                              return third_time_apart(values, [&] {
                                  rewind(in.get());
                                  allocation_floor floor(in.get());
                                  return measure(floor);
                              });
                          }});
    const auto all = interleaved(rounds, values, contenders);
    const std::string title = what.title + ": ";
    found.add(
        {"xml.read." + what.name, title + "reading, and freeing the tree", "ms", better::lower,
         "Processor time of the third reading in a process of its own, each round anew. The floor is the "
         "allocations and frees of our tree, and nothing else. expat makes no tree.",
         all[2]});
    found.add({"xml.free." + what.name, title + "freeing the tree", "ms", better::lower,
               "Processor time, in the same rounds.", all[1]});
    found.add({"xml.write." + what.name, title + "writing, indented", "ms", better::lower,
               "Processor time, in the same rounds. expat does not write.", all[3]});
}

void speed(results &found) {
    for (const document &what : measured_documents()) {
        measure_document(found, what);
    }
}

void memory(results &found) {
    for (const document &what : measured_documents()) {
        figure allocations{"xml.allocations." + what.name,
                           what.title + ": allocations to read it",
                           "allocations",
                           better::lower,
                           "Counted in a process of its own, with a counter under malloc() and free().",
                           {}};
        figure peak{"xml.peak." + what.name,
                    what.title + ": most memory while it is read",
                    "KiB",
                    better::lower,
                    "Heap at its highest, above that before reading, counted in the same process. The others "
                    "read from memory: the text itself is not counted.",
                    {}};
        for (const auto &who : tree_libraries()) {
            const allocation_counts counts = count_allocations(*who, what);
            const double kibibytes = std::round(static_cast<double>(counts.most_held) / 1024);
            allocations.contenders.push_back(
                {who->name(), role_of(*who), {static_cast<double>(counts.allocations)}});
            peak.contenders.push_back({who->name(), role_of(*who), {kibibytes}});
        }
        found.add(allocations);
        found.add(peak);
    }
}

/// Reads small documents several times, so that the clock does not count.
double microseconds_to_read(tree_library &who, const document &what, std::size_t nodes) {
    const std::size_t repetitions = std::max<std::size_t>(1, 1000 / nodes);
    const stream in = stream_of(what.text);
    const double taken = milliseconds([&] {
        for (std::size_t i = 0; i < repetitions; ++i) {
            read_or_throw(who, what, in.get());
            who.free_tree();
        }
    });
    return taken / static_cast<double>(repetitions) * 1e3;
}

void nodes(results &found) {
    const std::vector<double> sizes{1, 10, 100, 1000, 10'000, 100'000, 1'000'000};
    const auto lines = measured_growth(growth_rounds, sizes, [](std::size_t size) {
        const auto what = std::make_shared<document>(document_of(size));
        std::vector<contender> all;
        for (const auto &who : tree_libraries()) {
            all.push_back({who->name(), role_of(*who), [who, what, size] {
                               return third_time_apart(1, [&] {
                                   return std::vector{microseconds_to_read(*who, *what, size)};
                               })[0];
                           }});
        }
        return all;
    });
    found.add({"xml.nodes", "Reading as documents grow", "nodes", "us",
               "Processor time of reading and freeing a root and its children, each with an attribute "
               "and a text, in a process of its own that has done it before. We read from a stream on "
               "a file, the others from memory: in the smallest documents that is most of our time. "
               "expat makes no tree.",
               sizes, lines});
}

} // namespace

} // namespace varnel::bench

int main(int argc, char **argv) {
    using namespace varnel::bench;
    if (argc == 4 && std::string_view(argv[1]) == "--count") {
        return print_allocations(argv[2], argv[3]);
    }
    // One policy for everybody: what is freed stays with the process, so that no one pays for getting it
    // back.
    if (mallopt(M_TRIM_THRESHOLD, 1 << 30) == 0 || mallopt(M_MMAP_MAX, 0) == 0) {
        (void)fputs("bench_xml: mallopt() failed\n", stderr);
        return 1;
    }
    const family xml{
        "xml", "XML",
        "Documents are read into a tree, written again and freed: two of Debian's packages, and an "
        "inventory of boards and sensors of 10 MB. The others read from memory; we read from a "
        "stream on a file, which lies in the page cache. Everybody writes to a stream on a file."};
    return run_benchmark(argc, argv, {{"speed", speed}, {"memory", memory}, {"nodes", nodes}}, {xml});
}
