// SPDX-License-Identifier: MIT
#include "bench/command_run.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// For the C functions that promise to leave the texts alone, and say so in no type.
std::vector<char*> argument_list(const CommandLine& command) {
    std::vector<char*> list;
    std::transform(command.begin(), command.end(), std::back_inserter(list),
                   [](const char* argument) { return const_cast<char*>(argument); });
    list.push_back(nullptr);
    return list;
}

bool ended_well(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
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

} // namespace

std::optional<double> run_command(const CommandLine& command, const char* output) {
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

// Read while it ends: what wait4() gives for a process counts what its parent held before the
// program was loaded.
double peak_kilobytes(const CommandLine& command) {
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
