// SPDX-License-Identifier: MIT
#include "simulation/machine_loop.h"

#include "tests/simulation/socket_machine.h"

#include <gtest/gtest.h>

#include <semaphore>
#include <thread>

#include <poll.h>
#include <sys/resource.h>

namespace {

using Clock = ConnectedMachine::Clock;
constexpr int patience_ms = 10000;

Bytes read_from(int descriptor, std::size_t length) {
    Bytes bytes;
    pollfd polled{descriptor, POLLIN, 0};
    while (bytes.size() < length && poll(&polled, 1, patience_ms) == 1) {
        std::uint8_t byte = 0;
        if (read(descriptor, &byte, 1) != 1)
            break;
        bytes.push_back(byte);
    }
    return bytes;
}

void write_to(int descriptor, const Bytes& bytes) {
    EXPECT_EQ(write(descriptor, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void signal_myself(int signal) {
    kill(getpid(), signal);
}

/// A loop on this thread, and a second thread that drives the machines and ends the loop. The
/// signals are blocked before the second thread starts, so that only the loop takes them.
class MachineLoopTest : public testing::Test {
protected:
    void serve(const std::function<void()>& driver) {
        std::thread thread([&driver] {
            driver();
            signal_myself(SIGTERM);
        });
        loop_.run(machines_, [this] { reported_.release(); });
        thread.join();
    }

    SocketMachine& add(MachineFaults faults = {}) {
        machines_.push_back(std::make_unique<SocketMachine>(faults, record_));
        return dynamic_cast<SocketMachine&>(*machines_.back());
    }

    MachineLoop loop_{-1};
    WatcherRecord record_;
    std::vector<std::unique_ptr<ConnectedMachine>> machines_;
    std::counting_semaphore<> reported_{0};
};

const Bytes command = sequence(0xB0, 0x07, 0x05);
const Bytes echo = {0xB0, 0x07, 0x05};

TEST_F(MachineLoopTest, ServesAllMachines) {
    const int first = add().far_end();
    const int second = add().far_end();
    serve([&] {
        write_to(first, command);
        EXPECT_EQ(read_from(first, 3), echo);
        write_to(second, sequence(0x91, 0x01, 0x02));
        EXPECT_EQ(read_from(second, 3), (Bytes{0x91, 0x01, 0x02}));
    });
    EXPECT_EQ(machines_[0]->firmware().table(),
              (MappingTable{{5, protocol::MessageType::control_change, 1, 7}}));
    EXPECT_EQ(machines_[1]->firmware().table(),
              (MappingTable{{2, protocol::MessageType::note_on, 2, 1}}));
}

TEST_F(MachineLoopTest, SendsLateEchoesWhenTheyAreDue) {
    const int cable = add({.slow = 1, .delay_ms = 30}).far_end();
    serve([&] {
        const auto before = Clock::now();
        write_to(cable, command);
        EXPECT_EQ(read_from(cable, 3), echo);
        EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(31));
    });
}

TEST_F(MachineLoopTest, SwitchesAllMachinesOffAndOnAtASignal) {
    const int first = add().far_end();
    add({.vanish_after = 1});
    serve([&] {
        write_to(first, command);
        EXPECT_EQ(read_from(first, 3), echo);
        signal_myself(SIGUSR1);
        EXPECT_EQ(read_from(first, 1), Bytes{}); // end of file: the plug is pulled
        signal_myself(SIGUSR2);                  // taken after the first signal
        EXPECT_TRUE(reported_.try_acquire_for(std::chrono::milliseconds(patience_ms)));
    });
    EXPECT_EQ(record_.events,
              (std::vector<std::string>{"part 5: Control Change, channel 1, controller 7",
                                        "power cycle: back to 0 mappings",
                                        "power cycle: back to 0 mappings"}));
}

TEST_F(MachineLoopTest, GoesOnWhenItIsContinued) {
    const int cable = add().far_end();
    serve([&] {
        signal_myself(SIGCONT);
        write_to(cable, command);
        EXPECT_EQ(read_from(cable, 3), echo);
    });
    EXPECT_EQ(machines_[0]->firmware().table().size(), 1U);
}

TEST_F(MachineLoopTest, EndsAtAnInterrupt) {
    add();
    signal_myself(SIGINT); // pending until the loop takes it
    loop_.run(machines_, [] {});
    EXPECT_TRUE(record_.events.empty());
}

/// While it lives no descriptor from `number` on can be opened, and no more than `number` polled.
class FewDescriptors {
public:
    explicit FewDescriptors(rlim_t number) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few{number, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    rlimit before_{};
};

std::string error_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const MachineError& error) {
        return error.what();
    }
    return "none";
}

TEST(MachineLoop, SaysWhatDoesNotWork) {
    EXPECT_EQ(error_of([] {
                  const FewDescriptors none(0);
                  const MachineLoop loop(-1);
              }),
              "signalfd does not work: Too many open files.");
    MachineLoop loop(-1);
    EXPECT_EQ(error_of([&loop] {
                  const FewDescriptors one(1);
                  loop.run({}, [] {});
              }),
              "Waiting for input does not work: Invalid argument.");
}

bool holds_back(int signal) {
    sigset_t held;
    pthread_sigmask(SIG_BLOCK, nullptr, &held);
    return sigismember(&held, signal) == 1;
}

TEST(MachineLoop, HoldsSignalsBackFromItsStartToItsEnd) {
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2}) {
        EXPECT_FALSE(holds_back(signal));
        const MachineLoop loop(-1);
        EXPECT_TRUE(holds_back(signal));
    }
    EXPECT_FALSE(holds_back(SIGTERM));
}

} // namespace
