// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"
#include "tests/support/sequence.h"

#include <gtest/gtest.h>

#include <utility>

#include <sys/socket.h>
#include <unistd.h>

/// Records what a watcher is told.
class WatcherRecord final : public MachineWatcher {
public:
    void happened(const ConnectedMachine& machine, const MachineEvent& event) override {
        events.push_back(event_text(machine, event));
    }
    void received(const ConnectedMachine&, std::span<const std::uint8_t> bytes) override {
        input.insert(input.end(), bytes.begin(), bytes.end());
    }
    void sent(const ConnectedMachine&, std::span<const std::uint8_t> bytes) override {
        output.emplace_back(bytes.begin(), bytes.end());
    }
    void lost(const ConnectedMachine&) override { events.emplace_back("lost"); }

    std::vector<std::string> events;
    Bytes input;
    std::vector<Bytes> output;
};

/// A machine whose cable is a pair of sockets. The test has the far end.
class SocketMachine final : public ConnectedMachine {
public:
    SocketMachine(MachineFaults faults, MachineWatcher& watcher,
                  std::chrono::milliseconds gap = std::chrono::milliseconds(0))
        : ConnectedMachine(0x4AC5F4C4, faults, watcher, gap) {
        SocketMachine::plug();
    }
    ~SocketMachine() override {
        SocketMachine::pull();
        for (const int end : far_ends_)
            close(end);
    }

    /// The far end of the cable that is plugged in, or was last.
    [[nodiscard]] int far_end() const { return far_ends_.back(); }
    [[nodiscard]] std::size_t plugs() const { return far_ends_.size(); }
    /// Breaks the connection from the far end.
    void cut() const { shutdown(far_end(), SHUT_RDWR); }

    [[nodiscard]] std::string place() const override { return "socket"; }
    [[nodiscard]] int descriptor() const override { return near_end_; }
    void read() override {
        Bytes bytes(256);
        const ssize_t length = ::read(near_end_, bytes.data(), bytes.size());
        if (length > 0) {
            take(std::span(bytes).first(static_cast<std::size_t>(length)));
        } else {
            SocketMachine::pull();
            lose();
        }
    }

private:
    void plug() override {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            throw MachineError("There is no socket.");
        near_end_ = ends[0];
        far_ends_.push_back(ends[1]);
    }
    void pull() override { close(std::exchange(near_end_, -1)); }
    void write(std::span<const std::uint8_t> message) override {
        if (::write(near_end_, message.data(), message.size()) !=
            static_cast<ssize_t>(message.size()))
            throw MachineError("The socket is full.");
    }

    int near_end_ = -1;
    std::vector<int>
        far_ends_; ///< open until the end, so that a test can see that the machine's end was closed
};

/// Lets a machine read bytes from its cable.
inline void give(SocketMachine& machine, const Bytes& bytes) {
    ASSERT_EQ(::write(machine.far_end(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
    machine.read();
}
