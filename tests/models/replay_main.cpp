// SPDX-License-Identifier: Apache-2.0
// model_replay MODEL FILE...: replays schedules of a model, each with new objects. For each it prints "FILE: agrees", or
// "FILE: differs: " and where. Status 77: the objects cannot be made here.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>

#include "models/stages.h"

namespace {

using namespace varnel::models;

const std::map<std::string, stage (*)()> stages{
    {"queue", queue_stage},       {"selector", selector_stage},
    {"sem_lock", sem_lock_stage}, {"transfer", transfer_stage},
#ifdef IPMI_SIM
    {"relay", relay_stage},
#endif
};

std::string replay_file(const std::string &model, const char *path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    try {
        replay(stages.at(model)(), lines);
        return "agrees";
    } catch (const divergence &difference) {
        return std::string("differs: ") + difference.what();
    }
}

} // namespace

int main(int count, char **words) {
    if (count < 3 || !stages.contains(words[1])) {
        std::fputs("usage: model_replay queue|relay|selector|sem_lock|transfer FILE...\n", stderr);
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    try {
        for (int i = 2; i < count; ++i) {
            std::printf("%s: %s\n", words[i], replay_file(words[1], words[i]).c_str());
        }
    } catch (const unavailable &reason) {
        std::fprintf(stderr, "%s\n", reason.what());
        return 77; // skipped
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
