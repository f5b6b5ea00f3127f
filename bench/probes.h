// SPDX-License-Identifier: MIT
#pragma once

#include "Include/main.h"
#include "Include/set_device_name.h"
#include "protocol/device_code.h"

#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

/// Sends standard output to nowhere while it lives: the lines of the device layer are part of its
/// cost, and nobody wants to read them here.
class Silence {
public:
    Silence() : saved_(dup(STDOUT_FILENO)), nowhere_(open("/dev/null", O_WRONLY | O_CLOEXEC)) {
        std::fflush(stdout);
        dup2(nowhere_, STDOUT_FILENO);
    }
    ~Silence() {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        close(nowhere_);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    int saved_;
    int nowhere_;
};

constexpr std::uint32_t machines = protocol::family_size;

/// The name of machine 0 to 15 of the family, and of a port among many.
inline std::string family_name(std::uint32_t machine) {
    return protocol::code_text(protocol::family_code(machine));
}

inline std::string port_name(std::int64_t port) {
    return "Port " + std::to_string(port);
}

/// The sixteen probes of one apply press.
inline void probe_all_machines() {
    for (std::uint32_t machine = 0; machine < machines; ++machine)
        judge_device_connect_state_with_id(protocol::family_code(machine));
}
