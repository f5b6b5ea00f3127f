// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <algorithm>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A program of its own: a peer in this process would be left out like the application itself.
class OtherProgram {
public:
    /// It connects its port to the port at `from` and that at `to`.
    OtherProgram(const std::string& name, Address from, Address to) {
        EXPECT_EQ(pipe(ready_), 0);
        EXPECT_EQ(pipe(end_), 0);
        pid_ = fork();
        if (pid_ == 0)
            play(name, from, to);
        char byte = 0;
        EXPECT_EQ(read(ready_[0], &byte, 1), 1);
    }
    ~OtherProgram() {
        for (const int file : {ready_[0], ready_[1], end_[0], end_[1]})
            close(file);
        EXPECT_EQ(waitpid(pid_, nullptr, 0), pid_);
    }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

    [[nodiscard]] int pid() const { return pid_; }

private:
    [[noreturn]] void play(const std::string& name, Address from, Address to) const {
        close(end_[1]);
        AlsaPeer peer(name);
        snd_seq_connect_from(peer.sequencer(), 0, from.client, from.port);
        snd_seq_connect_to(peer.sequencer(), 0, to.client, to.port);
        char byte = 0;
        static_cast<void>(!write(ready_[1], &byte, 1));
        static_cast<void>(!read(end_[0], &byte, 1)); // until the other end is closed
        snd_seq_close(peer.sequencer());
        _exit(0);
    }

    int ready_[2]{};
    int end_[2]{};
    pid_t pid_ = 0;
};

using AlsaNeighbours = AlsaService;

TEST_F(AlsaNeighbours, AddressIsTheOneOnTheSequencer) {
    AlsaPeer peer("4AC5F4C4");
    const int second = peer.add_port("second");
    const auto client = static_cast<std::uint8_t>(peer.client());
    EXPECT_EQ(backend_.address(source("4AC5F4C4")), (Address{client, 0}));
    EXPECT_EQ(backend_.address(destination("second")),
              (Address{client, static_cast<std::uint8_t>(second)}));
    EXPECT_EQ(backend_.address(device("4AC5F4C4")), std::nullopt) << "a device is no port";
    const MIDIEndpointRef gone = source("second");
    peer.remove_port(second);
    static_cast<void>(MIDIGetNumberOfSources());
    EXPECT_EQ(backend_.address(gone), std::nullopt);
    EXPECT_FALSE(backend_.neighbours(gone));
}

TEST_F(AlsaNeighbours, ConnectionsOfOtherProgramsAreNamedInBothDirections) {
    const AlsaPeer machine("4AC5F4C4");
    const MIDIEndpointRef endpoint = source("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, endpoint, nullptr), 0);
    const Address address = backend_.address(endpoint).value();
    auto neighbours = backend_.neighbours(endpoint);
    ASSERT_TRUE(neighbours);
    EXPECT_TRUE(neighbours->readers.empty()) << "our own connection";
    EXPECT_TRUE(neighbours->writers.empty());

    const OtherProgram other("a synthesizer", address, address);
    neighbours = backend_.neighbours(endpoint);
    ASSERT_TRUE(neighbours);
    for (const auto& connected : {neighbours->readers, neighbours->writers}) {
        ASSERT_EQ(connected.size(), 1U);
        EXPECT_EQ(connected[0].name, "a synthesizer");
        EXPECT_EQ(connected[0].pid, other.pid());
    }
}

TEST_F(AlsaNeighbours, OtherClientsAreThoseOfTheKernelAndOfOtherPrograms) {
    const auto named = [](const std::vector<ClientInfo>& clients, std::string_view name) {
        return std::ranges::find(clients, name, &ClientInfo::name);
    };
    static_cast<void>(MIDIGetNumberOfSources());
    auto clients = backend_.other_clients();
    EXPECT_EQ(named(clients, "MIDI Client"), clients.end()) << "our own";
    const auto system = named(clients, "System");
    ASSERT_NE(system, clients.end());
    EXPECT_EQ(system->number, 0);
    EXPECT_EQ(system->pid, -1);

    const OtherProgram other("MIDI Client", {0, 1}, {0, 0});
    clients = backend_.other_clients();
    const auto found = named(clients, "MIDI Client");
    ASSERT_NE(found, clients.end());
    EXPECT_EQ(found->pid, other.pid());
}

TEST_F(AlsaNeighbours, EachClientTakesOneOfThePlaces) {
    static_cast<void>(MIDIGetNumberOfSources());
    const int before = backend_.places_left();
    EXPECT_GT(before, 0);
    EXPECT_LE(before, 64 - 2) << "two of them are ours";
    const AlsaPeer peer("peer");
    EXPECT_EQ(backend_.places_left(), before - 1);
}

} // namespace
