// SPDX-License-Identifier: Apache-2.0
#include "support/results.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace varnel::bench {

namespace {

using nlohmann::json;

const char *name_of(role who) { return who == role::ours ? "ours" : who == role::peer ? "peer" : "floor"; }

json summary(const std::vector<double> &values) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    return {
        {"median", median(values)}, {"lowest", *lowest}, {"highest", *highest}, {"rounds", values.size()}};
}

json to_json(const figure &from) {
    json contenders = json::array();
    for (const measurement &each : from.contenders) {
        json entry = summary(each.values);
        entry["name"] = each.name;
        entry["role"] = name_of(each.who);
        entry["ratio"] = ratio(from, each);
        contenders.push_back(entry);
    }
    return {{"id", from.id},     {"title", from.title},
            {"unit", from.unit}, {"better", from.direction == better::lower ? "lower" : "higher"},
            {"how", from.how},   {"contenders", contenders}};
}

json to_json(const growth &from) {
    json lines = json::array();
    for (const growth::line &each : from.lines) {
        json points = json::array();
        for (std::size_t i = 0; i < from.sizes.size(); ++i) {
            json point = summary(each.values.at(i));
            point["size"] = from.sizes[i];
            points.push_back(point);
        }
        lines.push_back({{"name", each.name}, {"role", name_of(each.who)}, {"points", points}});
    }
    return {{"id", from.id},     {"title", from.title}, {"size_name", from.size_name},
            {"unit", from.unit}, {"how", from.how},     {"lines", lines}};
}

template <typename T>
json all_to_json(const std::vector<T> &all) {
    json list = json::array();
    for (const T &each : all) {
        list.push_back(to_json(each));
    }
    return list;
}

void print(const figure &found) {
    std::printf("\n%s (%s)\n  %-34s %14s %14s %14s %8s\n", found.title.c_str(), found.id.c_str(),
                found.unit.c_str(), "median", "lowest", "highest", "ratio");
    for (const measurement &each : found.contenders) {
        const auto [lowest, highest] = std::minmax_element(each.values.begin(), each.values.end());
        std::printf("  %-34s %14.6g %14.6g %14.6g %8.2f%s\n", each.name.c_str(), median(each.values), *lowest,
                    *highest, ratio(found, each), each.who == role::floor ? "  (floor)" : "");
    }
    std::fflush(stdout);
}

void print(const growth &found) {
    std::printf("\n%s (%s), median %s\n  %-34s", found.title.c_str(), found.id.c_str(), found.unit.c_str(),
                found.size_name.c_str());
    for (const double size : found.sizes) {
        std::printf(" %12g", size);
    }
    for (const growth::line &each : found.lines) {
        std::printf("\n  %-34s", each.name.c_str());
        for (const std::vector<double> &values : each.values) {
            std::printf(" %12.6g", median(values));
        }
    }
    std::puts("");
    std::fflush(stdout);
}

} // namespace

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

double ratio(const figure &of, const measurement &peer) {
    const std::vector<double> &ours = of.contenders.at(0).values;
    std::vector<double> ratios;
    for (std::size_t round = 0; round < ours.size(); ++round) {
        const double theirs = peer.values.at(round);
        ratios.push_back(of.direction == better::lower ? theirs / ours[round] : ours[round] / theirs);
    }
    return median(ratios);
}

void results::add(const figure &found) {
    print(found);
    figures_.push_back(found);
}

void results::add(const growth &found) {
    print(found);
    growths_.push_back(found);
}

void results::save(const std::string &path) const {
    std::ofstream file(path);
    file << json{{"figures", all_to_json(figures_)}, {"growths", all_to_json(growths_)}}.dump(1) << '\n';
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::vector<measurement> interleaved(int rounds, const std::vector<contender> &contenders) {
    std::vector<measurement> found;
    for (const contender &each : contenders) {
        found.push_back({each.name, each.who, std::vector<double>(static_cast<std::size_t>(rounds))});
    }
    for (std::size_t round = 0; round < static_cast<std::size_t>(rounds); ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const std::size_t i = (turn + round) % contenders.size();
            found[i].values[round] = contenders[i].run();
        }
    }
    return found;
}

int run_benchmark(int argc, char **argv, const std::vector<part> &parts) {
    std::vector<std::string> names;
    for (const part &each : parts) {
        names.push_back(each.name);
    }
    CLI::App app("Compares the library with peers, in one run.");
    std::string file;
    std::vector<std::string> wanted = names;
    app.add_option("--json", file, "also write what was found there");
    app.add_option("part", wanted, "what to run (default: everything)")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    try {
        results found;
        for (const part &each : parts) {
            if (std::find(wanted.begin(), wanted.end(), each.name) != wanted.end()) {
                each.run(found);
            }
        }
        if (!file.empty()) {
            found.save(file);
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}

} // namespace varnel::bench
