// SPDX-License-Identifier: Apache-2.0
#include "bmc_servers.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace varnel::test {

namespace {

constexpr int first_mc = 0x20; // IPMB addresses are even
constexpr const char *ipmi_port = "026F";

[[noreturn]] void become(const std::vector<std::string> &command) {
    std::vector<char *> arguments;
    for (const std::string &each : command) {
        arguments.push_back(const_cast<char *>(each.c_str()));
    }
    arguments.push_back(nullptr);
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    unsetenv("LD_LIBRARY_PATH"); // that of another architecture, when tests run in an emulator
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    _exit(127);
}

/// How /proc/net/udp writes an address with the IPMI port.
std::string kernels_name(const std::string &address) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X:", inet_addr(address.c_str()));
    return std::string(text) + ipmi_port;
}

bool is_listening(const std::string &address) {
    std::ifstream sockets("/proc/net/udp");
    const std::string all{std::istreambuf_iterator<char>(sockets), {}};
    return all.find(kernels_name(address)) != std::string::npos;
}

std::string user(int number, const char *name, const char *password, const char *privilege) {
    std::ostringstream line;
    line << "  user " << number << " true \"" << name << "\" \"" << password << "\" " << privilege
         << " 10 none md5\n";
    return line.str();
}

std::string lan_configuration(int count, int first) {
    std::ostringstream text;
    text << "name \"rack\"\n";
    for (int n = 0; n < count; ++n) {
        text << "set_working_mc " << first_mc + 2 * n << "\n  startlan 1\n    addr " << bmc_address(first + n)
             << " 623\n    priv_limit admin\n    allowed_auths_admin none md5\n"
             << "    guid a123456789abcdefa123456789abcdef\n  endlan\n"
             << user(2, "admin", "secret", "admin");
    }
    text << "loadlib \"" << OEM_COMMANDS << "\" \"\"\n";
    return text.str();
}

std::string emulator_configuration(int count) {
    std::ostringstream text;
    text << "mc_setbmc " << first_mc << "\n";
    for (int n = 0; n < count; ++n) {
        const int mc = first_mc + 2 * n;
        text << "mc_add " << mc << " 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02\nmc_enable " << mc << "\n";
    }
    return text.str();
}

/// Writes the simulator's configuration, and returns the command that starts it.
std::vector<std::string> configured_simulator(const scratch_folder &folder, int count, int first) {
    const std::string state = folder.file("state");
    const std::string lan = folder.file("lan.conf");
    const std::string emulator = folder.file("bmc.emu");
    std::filesystem::create_directory(state);
    write_file(lan, lan_configuration(count, first));
    write_file(emulator, emulator_configuration(count));
    return {IPMI_SIM, "-n", "-c", lan, "-f", emulator, "-s", state};
}

std::vector<std::string> bmc_addresses(int count, int first) {
    std::vector<std::string> all;
    for (int n = 0; n < count; ++n) {
        all.push_back(bmc_address(first + n));
    }
    return all;
}

} // namespace

bmc_server::bmc_server(const std::vector<std::string> &command, const std::vector<std::string> &addresses)
    : pid_(fork()) {
    if (pid_ == 0) {
        become(command);
    }
    while (!std::ranges::all_of(addresses, is_listening)) {
        if (waitpid(pid_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("ended at once: " + command.front());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

bmc_server::~bmc_server() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

std::string bmc_address(int n) {
    return "127.0." + std::to_string(1 + n / 200) + "." + std::to_string(1 + n % 200);
}

simulated_bmcs::simulated_bmcs(int count, int first)
    : server_(configured_simulator(folder_, count, first), bmc_addresses(count, first)) {}

} // namespace varnel::test
