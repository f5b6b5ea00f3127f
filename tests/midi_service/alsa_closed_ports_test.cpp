// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <cerrno>
#include <fstream>
#include <sstream>

namespace {

int subscribe(const AlsaPeer& program, snd_seq_addr_t from, snd_seq_addr_t to) {
    snd_seq_port_subscribe_t* subscription = nullptr;
    snd_seq_port_subscribe_alloca(&subscription);
    snd_seq_port_subscribe_set_sender(subscription, &from);
    snd_seq_port_subscribe_set_dest(subscription, &to);
    return snd_seq_subscribe_port(program.sequencer(), subscription);
}

snd_seq_addr_t address_of_peer(const AlsaPeer& peer) {
    return {static_cast<std::uint8_t>(peer.client()), 0};
}

/// The lines about a client in the kernel's table.
std::string table_of(std::string_view client) {
    std::ifstream table("/proc/asound/seq/clients");
    std::string wanted;
    bool is_inside = false;
    for (std::string line; std::getline(table, line);) {
        if (line.starts_with("Client "))
            is_inside = line.find("\"" + std::string(client) + "\"") != std::string::npos;
        if (is_inside)
            wanted += line + "\n";
    }
    return wanted;
}

using AlsaClosedPorts = AlsaService;

TEST_F(AlsaClosedPorts, NamesAndCapabilitiesAreTheApplications) {
    static_cast<void>(MIDIGetNumberOfSources());
    const AlsaPeer peer("peer");
    EXPECT_EQ(capabilities_of(peer, address_of(peer, "Output port")),
              unsigned{SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_NO_EXPORT});
    EXPECT_EQ(capabilities_of(peer, address_of(peer, "Input port")),
              unsigned{SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT});
    EXPECT_EQ(capabilities_of(peer, address_of(peer, "Announcements")),
              unsigned{SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT});
    EXPECT_EQ(address_of(peer, "Output port").client, address_of(peer, "Input port").client);
    EXPECT_NE(table_of("MIDI Client").find("Output port"), std::string::npos);
}

TEST_F(AlsaClosedPorts, InputHasTheLargestPoolThatTheKernelGrants) {
    static_cast<void>(MIDIGetNumberOfSources());
    const std::string table = table_of("MIDI Client");
    const auto input = table.find("Input pool");
    ASSERT_NE(input, std::string::npos) << table;
    std::istringstream line(table.substr(table.find("Pool size", input)));
    std::string word;
    int cells = 0;
    line >> word >> word >> word >> cells;
    EXPECT_EQ(cells, 2000);
}

TEST_F(AlsaClosedPorts, NobodyCanConnectToThem) {
    static_cast<void>(MIDIGetNumberOfSources());
    const AlsaPeer peer("peer");
    const snd_seq_addr_t own = address_of_peer(peer);
    EXPECT_EQ(subscribe(peer, own, address_of(peer, "Input port")), -EPERM);
    EXPECT_EQ(subscribe(peer, own, address_of(peer, "Announcements")), -EPERM);
    EXPECT_EQ(subscribe(peer, address_of(peer, "Output port"), own), -EPERM);
    const AlsaPeer third("third");
    EXPECT_EQ(subscribe(third, own, address_of(peer, "Input port")), -EPERM);
    EXPECT_EQ(subscribe(third, address_of(peer, "Output port"), own), -EPERM);
}

TEST_F(AlsaClosedPorts, WhatComesUninvitedIsDropped) {
    AlsaPeer machine("4AC5F4C4");
    AlsaPeer stranger("stranger");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    stranger.emit_to(address_of(stranger, "Input port"), Bytes{0x90, 0x01, 0x01});
    machine.emit(Bytes{0x90, 0x02, 0x02});
    EXPECT_EQ(wait_for_bytes(3), (Bytes{0x90, 0x02, 0x02}));
}

TEST_F(AlsaClosedPorts, WhatIsNoMidiIsDropped) {
    AlsaPeer machine("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    const snd_seq_addr_t input = address_of(machine, "Input port");
    for (const int type : {SND_SEQ_EVENT_PORT_EXIT, SND_SEQ_EVENT_TEMPO, SND_SEQ_EVENT_ECHO,
                           SND_SEQ_EVENT_USR0, SND_SEQ_EVENT_TICK}) {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        event.type = static_cast<snd_seq_event_type_t>(type);
        machine.send_event(event, input);
    }
    machine.emit(Bytes{0xF8});
    EXPECT_EQ(wait_for_bytes(1), Bytes{0xF8});
}

TEST_F(AlsaClosedPorts, ForgedAnnouncementChangesNothing) {
    AlsaPeer machine("4AC5F4C4");
    const MIDIEndpointRef reference = source("4AC5F4C4");
    AlsaPeer stranger("stranger");
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    event.type = SND_SEQ_EVENT_PORT_EXIT;
    event.data.addr = address_of_peer(machine);
    stranger.send_event(event, address_of(stranger, "Announcements"));
    EXPECT_EQ(source("4AC5F4C4"), reference);
}

TEST_F(AlsaClosedPorts, PortsOfOurOwnAndOfTheSystemAreNoEndpoints) {
    for (const std::string_view hidden :
         {"Output port", "Input port", "Announcements", "Timer", "Announce"}) {
        EXPECT_EQ(source(hidden), 0U) << hidden;
        EXPECT_EQ(destination(hidden), 0U) << hidden;
    }
    EXPECT_EQ(device("System"), 0U);
    EXPECT_EQ(device("MIDI Client"), 0U);
}

} // namespace
