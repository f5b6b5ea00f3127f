// SPDX-License-Identifier: MIT
// A simulated machine on the ALSA sequencer that a test directs by lines on standard input:
//
//     client NAME   renames the client
//     port NAME     renames the port
//     tables        changes nothing
//
// The answer to each line is what the machine holds, as JSON. End of input ends the program.

#include "simulation/sequencer_connection.h"
#include "tests/e2e/journal.h"

#include <cstdio>
#include <iostream>

#include <poll.h>
#include <unistd.h>

namespace {

void check(int result) {
    if (result < 0)
        throw MachineError(snd_strerror(result));
}

class ScriptedMachine final : public SequencerMachine {
public:
    ScriptedMachine(const char* client, const char* port, MachineWatcher& watcher)
        : SequencerMachine(0, {}, watcher, client, port) {}

    void rename_client(const std::string& name) {
        check(snd_seq_set_client_name(sequencer(), name.c_str()));
    }

    void rename_port(const std::string& name) {
        snd_seq_port_info_t* info = nullptr;
        snd_seq_port_info_alloca(&info);
        check(snd_seq_get_port_info(sequencer(), port(), info));
        snd_seq_port_info_set_name(info, name.c_str());
        check(snd_seq_set_port_info(sequencer(), port(), info));
    }
};

void obey(const std::string& line, ScriptedMachine& machine) {
    const std::size_t space = std::min(line.find(' '), line.size());
    const std::string word = line.substr(0, space);
    const std::string rest = space < line.size() ? line.substr(space + 1) : "";
    if (word == "client")
        machine.rename_client(rest);
    else if (word == "port")
        machine.rename_port(rest);
    else if (word != "tables")
        throw MachineError("\"" + line + "\" is no direction");
    std::puts(tables_json(machine).c_str());
}

void serve(ScriptedMachine& machine) {
    while (true) {
        std::array<pollfd, 2> polled = {
            {{STDIN_FILENO, POLLIN, 0}, {machine.descriptor(), POLLIN, 0}}};
        (void)poll(polled.data(), polled.size(), machine.next_due() ? 1 : -1);
        if (polled[1].revents != 0)
            machine.read();
        machine.send_due(ConnectedMachine::Clock::now());
        if (std::string line; polled[0].revents != 0) {
            if (!std::getline(std::cin, line))
                return;
            obey(line, machine);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        if (argc != 4)
            throw MachineError("usage: keyloft-scripted-machine CLIENT PORT JOURNAL");
        Journal journal(argv[3]);
        ScriptedMachine machine(argv[1], argv[2], journal);
        std::puts("{\"ready\":true}");
        serve(machine);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keyloft-scripted-machine: %s\n", error.what());
        return 1;
    }
}
