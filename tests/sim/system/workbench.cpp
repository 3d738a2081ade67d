// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/system/workbench.h"

#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace varnel::test {

namespace {

constexpr const char *description = "[board]\n"
                                    "name = bench\n"
                                    "[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\nname.3 = lid\n"
                                    "[fru]\ntype = 24c02\nbus = 0\naddress = 0x50\ndata.00 = 48 65 6c 6c 6f\n"
                                    "[mux]\ntype = pca9548\nbus = 0\naddress = 0x70\n"
                                    "[psu]\ntype = car2512\nbus = mux.0\naddress = 0x58\nload = 100W\n"
                                    "[other]\ntype = pca9554\nbus = 1\naddress = 0x38\n";

/// Leaves the readings that users set; the key of a quantity is the reading's name and its unit.
void keep_settable(nlohmann::ordered_json &chip) {
    nlohmann::ordered_json kept;
    for (const std::string name : chip["settable"]) {
        for (const auto &[key, value] : chip["readings"].items()) {
            if (key == name || (key.starts_with(name + '_') && key.find('_', name.size() + 1) == key.npos)) {
                kept[key] = value;
            }
        }
    }
    chip["readings"] = kept;
}

} // namespace

workbench::workbench() {
    setenv("XDG_RUNTIME_DIR", folder().c_str(), 1);
    unsetenv("VARNEL_SIM_BOARD");
    unsetenv("VARNEL_SIM_SOCKET");
    board = file("bench.ini", description);
}

workbench::~workbench() {
    const auto end = std::chrono::steady_clock::now() + deadline;
    std::error_code in_use; // a server that is just ending may still create or remove its files
    do {
        std::filesystem::remove_all(folder(), in_use);
    } while (in_use && std::chrono::steady_clock::now() < end);
}

std::string workbench::file(const std::string &name, const std::string &text) const {
    const std::string path = folder_.file(name);
    write_file(path, text);
    return path;
}

std::string workbench::runtime_directory() const {
    return folder_.file("varnel-sim-" + std::to_string(getuid()));
}

workbench::words workbench::sim(const words &arguments) {
    words all{VARNEL_SIM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

workbench::words workbench::on(const std::string &file, const words &program) const {
    words all{VARNEL_SIM, "run", "--board", file, "--"};
    all.insert(all.end(), program.begin(), program.end());
    return all;
}

std::string workbench::call(const words &steps) const {
    words program{i2c_call()};
    program.insert(program.end(), steps.begin(), steps.end());
    return run(on_board(program)).out;
}

nlohmann::ordered_json workbench::state() const {
    auto state = nlohmann::ordered_json::parse(sim_run({"show", "--board", board, "--json"}).out);
    state.erase("uptime_seconds");
    state.erase("programs");
    for (auto &chip : state["chips"]) {
        keep_settable(chip); // the others move with time
    }
    return state;
}

process workbench::keep_powered() const {
    process keeper(on_board({"sh", "-c", "echo powered; read line; exit 0"}));
    EXPECT_EQ(keeper.read_line(), "powered");
    return keeper;
}

std::string workbench::i2c_call() { return I2C_CALL; }
std::string workbench::awkward() { return AWKWARD; }
std::string workbench::queue_call() { return QUEUE_CALL; }
std::string workbench::library() { return VARNEL_SIM_LIBRARY; }
std::string workbench::demo_board() { return DEMO_BOARD; }

} // namespace varnel::test
