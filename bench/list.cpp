// SPDX-License-Identifier: MIT
// `keyloftctl list` from its start to its end, and the most memory that it holds, with sixteen
// machines among 256 ports; beside `aconnect -l`, which prints all ports, and beside a program that
// loads the same libraries and ends.

#include "bench/crowd.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <vector>

namespace {

constexpr std::int64_t all_ports = 256;

/// The other programs, and the machines among them.
class Surroundings {
public:
    Surroundings() {
        for (std::uint32_t machine = 0; machine < machines; ++machine)
            machines_.emplace_back(family_name(machine));
    }

private:
    Crowd others_{all_ports - std::int64_t{machines}};
    std::deque<AlsaPeer> machines_{};
};

using Command = std::vector<const char*>; ///< the program with its arguments

/// For the C functions that promise to leave the texts alone, and say so in no type.
std::vector<char*> argument_list(const Command& command) {
    std::vector<char*> list;
    std::transform(command.begin(), command.end(), std::back_inserter(list),
                   [](const char* argument) { return const_cast<char*>(argument); });
    list.push_back(nullptr);
    return list;
}

bool ended_well(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// The seconds from the start to the end, with the output at a file.
std::optional<double> run(const Command& command, const char* output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output, O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    const std::vector<char*> arguments = argument_list(command);
    pid_t process = -1;
    int status = 0;
    const auto start = std::chrono::steady_clock::now();
    const bool ran =
        posix_spawn(&process, command.front(), &actions, nullptr, arguments.data(), environ) == 0 &&
        waitpid(process, &status, 0) == process && ended_well(status);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    posix_spawn_file_actions_destroy(&actions);
    return ran ? std::optional(took.count()) : std::nullopt;
}

/// The most memory that a process held so far, in kilobytes; 0 if that cannot be read.
double peak_of(pid_t process) {
    std::ifstream lines("/proc/" + std::to_string(process) + "/status");
    const std::string field = "VmHWM:";
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(field))
            return std::stod(line.substr(field.size()));
    }
    return 0;
}

/// The most memory that the command holds, in kilobytes, read while it ends; 0 if it fails. (What
/// wait4() gives for a process counts what its parent held before the program was loaded.)
double peak_kilobytes(const Command& command) {
    const std::vector<char*> arguments = argument_list(command);
    const pid_t process = fork();
    if (process == 0) {
        if (dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO) >= 0 &&
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0)
            execv(command.front(), arguments.data());
        _exit(1);
    }
    int status = 0;
    double peak = 0;
    if (waitpid(process, &status, 0) != process || !WIFSTOPPED(status))
        return 0;
    ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    ptrace(PTRACE_CONT, process, nullptr, nullptr);
    while (waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
        const bool ends = status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8));
        if (ends)
            peak = peak_of(process);
        const int signal = WSTOPSIG(status);
        ptrace(PTRACE_CONT, process, nullptr, ends || signal == SIGTRAP ? 0 : signal);
    }
    return ended_well(status) ? peak : 0;
}

/// Whether the output names each machine in a line.
bool names_all_machines(const std::filesystem::path& output) {
    std::ifstream lines(output);
    std::uint32_t named = 0;
    for (std::string line; std::getline(lines, line);) {
        for (std::uint32_t machine = 0; machine < machines; ++machine)
            named += line.find(family_name(machine)) != std::string::npos ? 1 : 0;
    }
    return named >= machines;
}

void measure(benchmark::State& state, const Command& command, bool lists_machines) {
    const Surroundings surroundings;
    const auto output =
        std::filesystem::temp_directory_path() / ("list_bench." + std::to_string(getpid()));
    const bool runs = run(command, output.c_str()).has_value();
    const bool right = runs && (!lists_machines || names_all_machines(output));
    std::filesystem::remove(output);
    const double peak = peak_kilobytes(command);
    if (!right || peak <= 0) {
        state.SkipWithError(right ? "its memory cannot be read" : "it fails or lists too little");
        return;
    }
    while (state.KeepRunning()) {
        const auto seconds = run(command, "/dev/null");
        if (!seconds)
            state.SkipWithError("it fails");
        state.SetIterationTime(seconds.value_or(0));
    }
    state.counters["peak_kb"] = peak;
}

void ours(benchmark::State& state) {
    measure(state, {KEYLOFT_CTL, "list"}, true);
}

void aconnect(benchmark::State& state) {
    measure(state, {"/usr/bin/aconnect", "-l"}, true);
}

void empty(benchmark::State& state) {
    measure(state, {KEYLOFT_EMPTY_COMMAND}, false);
}

BENCHMARK(ours)->Name("list/ours")->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(aconnect)->Name("list/aconnect")->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(empty)->Name("list/empty")->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
