// SPDX-License-Identifier: MIT
// A simulated machine on the ALSA sequencer that a test directs by lines on standard input:
//
//     client NAME   renames the client
//     port NAME     renames the port
//     tables        does nothing more
//
// Each line is answered by what the machine holds, as JSON. The end of the input ends the program.

#include "simulation/machine_text.h"
#include "simulation/sequencer_codec.h"
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

class ScriptedMachine final : public ConnectedMachine {
public:
    ScriptedMachine(const std::string& client, const std::string& port, MachineWatcher& watcher)
        : ConnectedMachine(0, {}, watcher, std::chrono::milliseconds(0)) {
        snd_seq_t* opened = nullptr;
        check(snd_seq_open(&opened, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK));
        sequencer_.reset(opened);
        rename_client(client);
        constexpr unsigned ways = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ |
                                  SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
        port_ = snd_seq_create_simple_port(opened, port.c_str(), ways,
                                           SND_SEQ_PORT_TYPE_MIDI_GENERIC |
                                               SND_SEQ_PORT_TYPE_APPLICATION);
        check(port_);
    }

    void rename_client(const std::string& name) {
        check(snd_seq_set_client_name(sequencer_.get(), name.c_str()));
    }

    void rename_port(const std::string& name) {
        snd_seq_port_info_t* info = nullptr;
        snd_seq_port_info_alloca(&info);
        check(snd_seq_get_port_info(sequencer_.get(), port_, info));
        snd_seq_port_info_set_name(info, name.c_str());
        check(snd_seq_set_port_info(sequencer_.get(), port_, info));
    }

    [[nodiscard]] std::string place() const override { return "scripted"; }

    [[nodiscard]] int descriptor() const override {
        pollfd polled{.fd = -1, .events = 0, .revents = 0};
        snd_seq_poll_descriptors(sequencer_.get(), &polled, 1, POLLIN);
        return polled.fd;
    }

    void read() override {
        snd_seq_event_t* event = nullptr;
        while (snd_seq_event_input(sequencer_.get(), &event) >= 0) {
            if (const auto bytes = codec_.bytes(*event); !bytes.empty())
                take(bytes);
        }
    }

    void write(std::span<const std::uint8_t> message) override {
        snd_seq_event_t event = codec_.event(message);
        snd_seq_ev_set_source(&event, static_cast<unsigned char>(port_));
        snd_seq_ev_set_subs(&event);
        snd_seq_ev_set_direct(&event);
        (void)snd_seq_event_output_direct(sequencer_.get(), &event);
    }

private:
    void plug() override {}
    void pull() override {}

    struct Close {
        void operator()(snd_seq_t* sequencer) const { snd_seq_close(sequencer); }
    };
    std::unique_ptr<snd_seq_t, Close> sequencer_;
    SequencerCodec codec_;
    int port_ = -1;
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
