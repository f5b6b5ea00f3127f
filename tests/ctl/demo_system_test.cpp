// SPDX-License-Identifier: MIT
#include "ctl/demo_system.h"

#include "midi_service/midi_service.h"
#include "setup/machine_line.h"
#include "setup/runner.h"
#include "setup/waiting.h"
#include "tests/support/watchdog.h"

#include <array>

#include <gtest/gtest.h>

namespace {

/// Listens to the first machine of a demo.
class Listener {
public:
    explicit Listener(DemoSystem& system) : system_(system) {
        install_midi_backend(&system.backend());
        client_.emplace(CFSTR("test"), setup::steady_now);
        EXPECT_GE(MIDIGetNumberOfSources(), 1U);
        const setup::Endpoint source{.reference = MIDIGetSource(0)};
        line_.emplace(*client_, setup::Target{.source = source, .destination = source});
    }
    ~Listener() {
        line_.reset();
        client_.reset();
        install_midi_backend(nullptr);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Status and first data byte of what the next move sends.
    std::pair<int, int> next() {
        now_ = system_.play(now_).value();
        std::vector<setup::Heard> heard;
        while (heard.empty()) {
            wait(std::nullopt);
            client_->inbox().take(heard);
        }
        EXPECT_EQ(heard.size(), 1U);
        return {heard[0].data[0], heard[0].data[1]};
    }

    void set(const protocol::KeyMapping& mapping) {
        setup::Runner runner(
            *client_, [this](setup::Time until) { wait(until); },
            [](const setup::Report& report) {
                EXPECT_EQ(report.outcome.result, setup::Result::confirmed);
            });
        runner.add(*line_, protocol::message_of(mapping).value());
        runner.run();
    }

private:
    void wait(std::optional<setup::Time> until) {
        std::array<pollfd, 1> polled = {
            {{.fd = client_->inbox().descriptor(), .events = POLLIN, .revents = 0}}};
        setup::wait_readable(polled, until);
    }

    DemoSystem& system_;
    std::optional<setup::Client> client_{};
    std::optional<setup::MachineLine> line_{};
    setup::Time now_{};
};

TEST(DemoSystem, NumbersItsMachinesAsTheSequencerNumbersPrograms) {
    DemoSystem system({0x4AC5F4C4, 0x4AC0F4C4}, {});
    install_midi_backend(&system.backend());
    ASSERT_EQ(MIDIGetNumberOfSources(), 2U);
    const MIDIEndpointRef first = MIDIGetSource(0);
    const MIDIEndpointRef second = MIDIGetSource(1);
    EXPECT_EQ(system.address(first), (setup::PortAddress{128, 0}));
    EXPECT_EQ(system.address(second), (setup::PortAddress{129, 0}));
    EXPECT_EQ(system.address(0), std::nullopt);
    EXPECT_EQ(system.address(first + second), std::nullopt);
    install_midi_backend(nullptr);
}

TEST(DemoSystem, HasNoTroubleNoLimitAndNobodyElse) {
    const DemoSystem system({0x4AC5F4C4}, {});
    EXPECT_TRUE(system.is_demo());
    EXPECT_FALSE(system.trouble().has_value());
    EXPECT_FALSE(system.places_left().has_value());
    EXPECT_TRUE(system.other_clients().empty());
    EXPECT_TRUE(system.connections(1).readers.empty());
}

TEST(DemoSystem, PlaysWhatItsPartsAreMappedTo) {
    const Watchdog watchdog{std::chrono::seconds(60)};
    DemoSystem system({0x4AC5F4C4}, {});
    Listener listener(system);
    using Sent = std::pair<int, int>;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(listener.next(), Sent(0xB0, 7));
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(listener.next(), Sent(0x99, 36));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(listener.next(), Sent(0xE0, 0));
    }
    listener.set({.part = 0, .type = protocol::MessageType::note_on, .channel = 3});
    listener.set({.part = 12, .channel = 2, .controller = 9});
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(listener.next(), Sent(0xB1, 9)) << "part 12 sends something now";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(listener.next(), Sent(0x92, 0)) << "part 0 sends something else";
}

TEST(DemoSystem, PullsThePlugOfOneMachineAfterTheOther) {
    DemoSystem system({0x4AC5F4C4, 0x4AC0F4C4}, {}, DemoSystem::Show::plugs);
    install_midi_backend(&system.backend());
    setup::Time now{};
    std::vector<std::string> seen;
    for (int i = 0; i < 9; ++i) {
        const auto next = system.play(now);
        std::string there;
        const ItemCount count = MIDIGetNumberOfSources();
        for (ItemCount source = 0; source < count; ++source)
            there += setup::address_text(system.address(MIDIGetSource(source)).value()) + " ";
        seen.push_back(there);
        now = next.value();
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"128:0 129:0 ", "129:0 ", "129:0 128:0 ",
                                              "129:0 128:0 ", "128:0 ", "128:0 129:0 ",
                                              "128:0 129:0 ", "129:0 ", "129:0 128:0 "}));
    install_midi_backend(nullptr);
}

TEST(DemoSystem, IsNotPlayedBeforeItsTime) {
    DemoSystem system({0x4AC5F4C4}, {});
    const auto next = system.play({});
    ASSERT_GT(next, setup::Time{});
    EXPECT_EQ(system.play(*next - std::chrono::nanoseconds(1)), next);
    EXPECT_GT(system.play(*next), next);
}

} // namespace
