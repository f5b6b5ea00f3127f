// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"
#include "setup/machine_line.h"
#include "setup/runner.h"

#include <chrono>
#include <vector>

/// The embedded service with a time that passes only here, and a client of it.
class VirtualPlace {
public:
    VirtualPlace() { install_midi_backend(&service); }
    ~VirtualPlace() { install_midi_backend(nullptr); }
    VirtualPlace(const VirtualPlace&) = delete;
    VirtualPlace& operator=(const VirtualPlace&) = delete;

    EmbeddedBackend service{EmbeddedBackend::Time::manual};

    [[nodiscard]] setup::Time now() const { return setup::Time{service.now()}; }
    [[nodiscard]] setup::Client open_client() {
        return {CFSTR("keyloft test"), [this] { return now(); }};
    }

    /// Whether there is something in the inbox.
    [[nodiscard]] static bool has_heard(const setup::Client& client);

    /// Waits for a runner: lets time pass in steps until then, or until something is heard.
    void wait(const setup::Client& client, setup::Time until);

    /// The line to an object that is both ends of a machine.
    [[nodiscard]] static setup::Target target(MIDIObjectRef reference, std::uint32_t code = 0) {
        return {.code = code,
                .source = {.reference = reference, .is_online = true},
                .destination = {.reference = reference, .is_online = true}};
    }
};
