// SPDX-License-Identifier: MIT
#include "ctl/midi_system.h"

bool is_window(const OtherClient& client) {
    // The name of keyloft's client is a common one, so the program's name decides where it is
    // known.
    return client.name == "MIDI Client" && client.pid >= 0 &&
           (client.program.empty() || client.program == "keyloft");
}

std::string client_text(const OtherClient& client) {
    const std::string name = "\"" + client.name + "\"";
    return client.pid < 0 ? name : name + " (process " + std::to_string(client.pid) + ")";
}
