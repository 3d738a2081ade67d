// SPDX-License-Identifier: Apache-2.0
// What it costs to link the library: a small daemon (daemon.c) with one job for each family, linked with this
// library and with alternatives. Time to start, work of the dynamic loader, memory after the jobs that need
// no board, and the size of the libraries' code on 32-bit ARM. For IPMI sessions all of them link
// libfreeipmi; since that is most of what they load, each figure is also measured without it.
//
// The XML tree of the peers is Mini-XML for the daemon in C and pugixml for the one in C++: the smallest
// available. libxml2 would add the tables of ICU.
//
// bench_footprint [--json FILE] [start|loader|memory|text]...
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "footprint/daemons.h"
#include "support/command.h"
#include "support/results.h"

namespace {

using namespace varnel::bench;

struct daemon_program {
    std::string name;
    role who;
    std::string file;
    std::string prints; ///< after its jobs
};

/// Daemons that are compared with each other.
struct daemon_group {
    std::string suffix; ///< of the figures' ids
    std::string title;
    std::vector<daemon_program> daemons;
};

std::vector<daemon_program> daemons(const std::string &suffix) {
    const std::string folder = DAEMONS "/footprint_";
    const std::string found = "limit 1000 speed 8800";
    return {{"varnel", role::ours, folder + "varnel" + suffix, found},
            {"libi2c, inih, Mini-XML", role::peer, folder + "c" + suffix, found},
            {"libi2c, inih, pugixml, spdlog", role::peer, folder + "cpp" + suffix, found},
            {"only the C library", role::floor, folder + "libc", "limit 0 speed 0"}};
}

const std::vector<daemon_group> groups{{"", "a daemon with everything", daemons("_ipmi")},
                                       {".without_ipmi", "a daemon without IPMI sessions", daemons("")}};

void measure_start(results &found) {
    for (const daemon_group &group : groups) {
        std::vector<contender> all;
        for (const daemon_program &each : group.daemons) {
            all.push_back({each.name, each.who, [file = each.file] { return start_time(file); }});
        }
        found.add(figure{"footprint.start" + group.suffix, "Starting " + group.title, "us", better::lower,
                         "From exec to the beginning of main(), files in the page cache.",
                         interleaved(101, all)});
    }
}

void count_loader_work(results &found) {
    for (const daemon_group &group : groups) {
        std::vector<measurement> lookups;
        std::vector<measurement> relative;
        for (const daemon_program &each : group.daemons) {
            const loader_work work = loader_work_of(each.file);
            lookups.push_back({each.name, each.who, {work.lookups}});
            relative.push_back({each.name, each.who, {work.relative}});
        }
        const std::string how =
            "Counted by the dynamic loader (LD_DEBUG=statistics) before main(), in all libraries.";
        found.add(figure{"footprint.bindings" + group.suffix, "Symbols bound to start " + group.title,
                         "relocations", better::lower, how, lookups});
        found.add(figure{"footprint.relative" + group.suffix, "Addresses moved to start " + group.title,
                         "relocations", better::lower, how, relative});
    }
}

struct memory_figure {
    std::string id;
    std::string title;
    std::string unit;
    double memory_use::*value;
    std::string how;
};

const std::vector<memory_figure> memory_figures{
    {"footprint.resident", "Resident memory of ", "KiB", &memory_use::resident,
     "Rss: all pages in memory, including those shared with other processes."},
    {"footprint.proportional", "Share of memory of ", "KiB", &memory_use::proportional,
     "Pss: pages shared with other processes, as most of the C library's, count by their share."},
    {"footprint.private", "Memory of its own of ", "KiB", &memory_use::private_dirty,
     "Private_Dirty: pages that no other process shares and that were written to."},
    {"footprint.libraries", "Shared libraries mapped by ", "libraries", &memory_use::libraries,
     "Counted in /proc/PID/maps, including the dynamic loader."}};

void measure_memory(results &found) {
    constexpr std::size_t rounds = 5;
    for (const daemon_group &group : groups) {
        std::vector<std::vector<memory_use>> uses(group.daemons.size()); // by daemon and round
        for (std::size_t round = 0; round < rounds; ++round) {
            for (std::size_t i = 0; i < uses.size(); ++i) {
                uses[i].push_back(memory_of(group.daemons[i].file, group.daemons[i].prints));
            }
        }
        for (const memory_figure &each : memory_figures) {
            std::vector<measurement> measured;
            for (std::size_t i = 0; i < uses.size(); ++i) {
                measured.push_back({group.daemons[i].name, group.daemons[i].who, {}});
                for (const memory_use &use : uses[i]) {
                    measured[i].values.push_back(use.*each.value);
                }
            }
            found.add(
                figure{each.id + group.suffix, each.title + group.title, each.unit, better::lower,
                       "After it read an INI and an XML file, wrote a log entry, took a lock and posted a "
                       "record. " +
                           each.how,
                       measured});
        }
    }
}

using sizes = std::map<std::string, double>;

sizes armhf_text() {
    std::istringstream lines(output_of(quoted(ARMHF_TEXT)));
    sizes found;
    std::string name;
    for (double size = 0; lines >> name >> size;) {
        found[name] = size;
    }
    return found;
}

using names = std::vector<std::string>;

measurement together(const std::string &name, role who, const sizes &all, const names &libraries) {
    double sum = 0;
    for (const std::string &each : libraries) {
        sum += all.at(each);
    }
    return {name, who, {sum}};
}

const names ours{"libvarnel_common.so.1"};
const names ours_on_linux{"libvarnel_common.so.1", "libvarnel_platform.so.1"};
const names c_peers{"libi2c.so.0", "libinih.so.1", "libmxml.so.1"};
const names cpp_peers{"libi2c.so.0", "libinih.so.1", "libpugixml.so.1", "libspdlog.so.1.10", "libfmt.so.9"};
const names cpp_runtime{"libstdc++.so.6", "libgcc_s.so.1"};

names both(names first, const names &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

void measure_text(results &found) {
    const sizes all = armhf_text();
    found.add(figure{
        "footprint.armhf_text",
        "Code of the libraries on 32-bit ARM",
        "bytes",
        better::lower,
        "What size(1) calls text: code and constants. Ours built here, the others as Debian "
        "builds them. spdlog needs fmt and, like pugixml, the runtime libraries of C++. Chip "
        "drivers, system log, locks, queues, relay and file transfer are only in ours; "
        "none includes libfreeipmi.",
        {together("libvarnel_common", role::ours, all, ours),
         together("libvarnel_common, libvarnel_platform", role::ours, all, ours_on_linux),
         together("libi2c, inih, Mini-XML", role::peer, all, c_peers),
         together("libi2c, inih, pugixml, spdlog, fmt", role::peer, all, cpp_peers),
         together("the same with libstdc++, libgcc_s", role::peer, all, both(cpp_peers, cpp_runtime))}});
    figure each{"footprint.armhf_text.each",
                "Code of each library on 32-bit ARM",
                "bytes",
                better::lower,
                "The summands of footprint.armhf_text.",
                {}};
    for (const std::string &name : ours_on_linux) {
        each.contenders.push_back(together(name, role::ours, all, {name}));
    }
    for (const std::string &name : both({"libmxml.so.1"}, both(cpp_peers, cpp_runtime))) {
        each.contenders.push_back(together(name, role::peer, all, {name}));
    }
    found.add(each);
}

} // namespace

int main(int argc, char **argv) {
    const family footprint{"footprint", "Footprint",
                           "What it costs to link the library: one small daemon, its jobs done by this "
                           "library with its platform for "
                           "Linux, by small libraries in C, and by libraries in C++; with libfreeipmi for "
                           "IPMI sessions and without. "
                           "What the others' libraries do not have, locks, queues, file transfer, those "
                           "daemons do by hand with the C "
                           "library. The floor does nothing."};
    return run_benchmark(argc, argv,
                         {{"start", measure_start},
                          {"loader", count_loader_work},
                          {"memory", measure_memory},
                          {"text", measure_text}},
                         {footprint});
}
