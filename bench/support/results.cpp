// SPDX-License-Identifier: Apache-2.0
#include "support/results.h"

#include <algorithm>
#include <cmath>
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

bool is_quick = false; // --quick

json summary(const std::vector<double> &values) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    return {
        {"median", median(values)}, {"lowest", *lowest}, {"highest", *highest}, {"rounds", values.size()}};
}

json to_json(const figure &of, const measurement &each) {
    json entry = summary(each.values);
    entry["name"] = each.name;
    entry["role"] = name_of(each.who);
    const std::optional<double> quotient = ratio(of, each);
    entry["ratio"] = quotient ? json(*quotient) : json();
    return entry;
}

json to_json(const family &from) { return {{"id", from.id}, {"title", from.title}, {"about", from.about}}; }

json to_json(const figure &from) {
    json contenders = json::array();
    for (const measurement &each : from.contenders) {
        contenders.push_back(to_json(from, each));
    }
    json result{{"id", from.id},     {"title", from.title},
                {"unit", from.unit}, {"better", from.direction == better::lower ? "lower" : "higher"},
                {"how", from.how},   {"contenders", contenders}};
    if (from.wanted) {
        result["goal"] = {{"ratio", from.wanted->ratio},
                          {"against", from.wanted->against},
                          {"met", is_met(from, *from.wanted)}};
    }
    return result;
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

std::string printed_ratio(std::optional<double> quotient) {
    char text[32] = "-";
    if (quotient) {
        std::snprintf(text, sizeof text, "%.2f", *quotient);
    }
    return text;
}

void print_goal(const figure &found) {
    std::printf("  goal: a ratio of %g or more to %s: %s\n", found.wanted->ratio,
                found.wanted->against.empty() ? "each peer" : found.wanted->against.c_str(),
                is_met(found, *found.wanted) ? "met" : "MISSED");
}

void print(const figure &found) {
    std::printf("\n%s (%s)\n  %-34s %14s %14s %14s %8s\n", found.title.c_str(), found.id.c_str(),
                found.unit.c_str(), "median", "lowest", "highest", "ratio");
    for (const measurement &each : found.contenders) {
        const auto [lowest, highest] = std::minmax_element(each.values.begin(), each.values.end());
        std::printf("  %-34s %14.6g %14.6g %14.6g %8s%s\n", each.name.c_str(), median(each.values), *lowest,
                    *highest, printed_ratio(ratio(found, each)).c_str(),
                    each.who == role::floor ? "  (floor)" : "");
    }
    if (found.wanted) {
        print_goal(found);
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

std::optional<double> ratio(const figure &of, const measurement &peer) {
    const bool is_lower = of.direction == better::lower;
    const std::vector<double> &ours = of.contenders.at(0).values;
    std::vector<double> ratios;
    for (std::size_t round = 0; round < ours.size(); ++round) {
        const double dividend = is_lower ? peer.values.at(round) : ours[round];
        const double divisor = is_lower ? ours[round] : peer.values.at(round);
        if (divisor == 0) {
            return std::nullopt;
        }
        ratios.push_back(dividend / divisor);
    }
    return median(ratios);
}

bool is_met(const figure &of, const goal &wanted) {
    bool is_met = true;
    int counted = 0;
    for (const measurement &each : of.contenders) {
        if (wanted.against.empty() ? each.who == role::peer : each.name == wanted.against) {
            ++counted;
            is_met = is_met && ratio(of, each).value_or(0) >= wanted.ratio;
        }
    }
    if (counted == 0) {
        throw std::logic_error(of.id + ": the goal names no contender");
    }
    return is_met;
}

void results::add(const family &about) { families_.push_back(about); }

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
    const json all{{"families", all_to_json(families_)},
                   {"figures", all_to_json(figures_)},
                   {"growths", all_to_json(growths_)}};
    file << all.dump(1) << '\n';
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::vector<measurement> interleaved(int rounds, const std::vector<contender> &contenders) {
    std::vector<contender_of_several> all;
    all.reserve(contenders.size());
    for (const contender &each : contenders) {
        all.push_back({each.name, each.who, [&each] { return std::vector<double>{each.run()}; }});
    }
    return interleaved(rounds, 1, all).front();
}

std::vector<std::vector<measurement>> interleaved(int rounds, std::size_t count,
                                                  const std::vector<contender_of_several> &contenders) {
    const auto wanted = static_cast<std::size_t>(is_quick ? std::max(3, rounds / 10) : rounds);
    std::vector<measurement> empty;
    empty.reserve(contenders.size());
    for (const contender_of_several &each : contenders) {
        empty.push_back({each.name, each.who, std::vector<double>(wanted)});
    }
    std::vector<std::vector<measurement>> found(count, empty);
    for (std::size_t round = 0; round < wanted; ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const std::size_t i = (turn + round) % contenders.size();
            const std::vector<double> values = contenders[i].run();
            for (std::size_t value = 0; value < count; ++value) {
                found[value][i].values[round] = values.at(value);
            }
        }
    }
    for (std::vector<measurement> &each : found) {
        std::erase_if(each, [](const measurement &m) { return std::isnan(m.values.front()); });
    }
    return found;
}

std::vector<growth::line>
measured_growth(int rounds, const std::vector<double> &sizes,
                const std::function<std::vector<contender>(std::size_t size)> &contenders_of) {
    std::vector<growth::line> lines;
    for (const double size : sizes) {
        const std::vector<measurement> found =
            interleaved(rounds, contenders_of(static_cast<std::size_t>(size)));
        lines.resize(found.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            lines[i].name = found[i].name;
            lines[i].who = found[i].who;
            lines[i].values.push_back(found[i].values);
        }
    }
    return lines;
}

int run_benchmark(int argc, char **argv, const std::vector<part> &parts,
                  const std::vector<family> &families) {
    std::vector<std::string> names;
    names.reserve(parts.size());
    for (const part &each : parts) {
        names.push_back(each.name);
    }
    CLI::App app("Compares the library with peers, in one run.");
    std::string file;
    std::vector<std::string> wanted = names;
    app.add_option("--json", file, "also write the results to this file");
    app.add_flag("--quick", is_quick, "a tenth of the rounds, to try it");
    app.add_option("part", wanted, "what to run (default: everything)")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    try {
        results found;
        for (const family &each : families) {
            found.add(each);
        }
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
