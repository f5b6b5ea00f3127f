// SPDX-License-Identifier: MIT
#include "setup/machine_line.h"
#include "setup/waiting.h"
#include "tests/setup/virtual_place.h"
#include "tests/support/watchdog.h"

#include <array>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <thread>

#include <gtest/gtest.h>

using setup::Client;
using setup::Heard;
using setup::MachineLine;
using setup::Time;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

using Bytes = std::vector<std::uint8_t>;

class MachineLineTest : public testing::Test {
protected:
    MIDIObjectRef attach(std::string name) {
        return place.service.attach({.name = std::move(name)},
                                    [this](std::span<const std::uint8_t> messages) {
                                        received.emplace_back(messages.begin(), messages.end());
                                    });
    }

    std::vector<Heard> take() {
        std::vector<Heard> heard;
        client.inbox().take(heard);
        return heard;
    }

    VirtualPlace place;
    Client client = place.open_client();
    std::vector<Bytes> received;
};

Bytes bytes_of(const Heard& heard) {
    return {heard.bytes().begin(), heard.bytes().end()};
}

} // namespace

TEST_F(MachineLineTest, HearsItsOwnSourceWithTheTimeOfArrival) {
    const MIDIObjectRef one = attach("4AC5F4C4 MIDI 1");
    const MIDIObjectRef other = attach("4AC6F4C4 MIDI 1");
    const MIDIObjectRef stranger = attach("Keyboard");
    MachineLine first{client, VirtualPlace::target(one)};
    MachineLine second{client, VirtualPlace::target(other)};
    ASSERT_EQ(first.status(), 0);
    place.service.emit(one, Bytes{0xB0, 7, 12}, microseconds(1300));
    place.service.emit(other, Bytes{0xF8}, microseconds(2600));
    place.service.emit(stranger, Bytes{0x90, 1, 2}, microseconds(2600));
    place.service.advance(milliseconds(10));
    const std::vector<Heard> heard = take();
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[0].line, &first);
    EXPECT_EQ(heard[0].at, Time{microseconds(1300)});
    EXPECT_EQ(bytes_of(heard[0]), (Bytes{0xB0, 7, 12}));
    EXPECT_EQ(heard[1].line, &second);
    EXPECT_EQ(heard[1].at, Time{microseconds(2600)});
    EXPECT_EQ(bytes_of(heard[1]), (Bytes{0xF8}));
}

TEST_F(MachineLineTest, KeepsThreeBytesOfLongData) {
    const MIDIObjectRef one = attach("4AC5F4C4");
    const MachineLine line{client, VirtualPlace::target(one)};
    place.service.emit(one, Bytes{0xF0, 1, 2, 3, 4, 0xF7}, microseconds(0));
    place.service.advance(milliseconds(1));
    const std::vector<Heard> heard = take();
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(bytes_of(heard[0]), (Bytes{0xF0, 1, 2}));
}

TEST_F(MachineLineTest, DescriptorIsReadableAsLongAsSomethingIsThere) {
    const MIDIObjectRef one = attach("4AC5F4C4");
    std::optional<MachineLine> line{std::in_place, client, VirtualPlace::target(one)};
    EXPECT_FALSE(VirtualPlace::has_heard(client));
    const auto sound = [&] {
        place.service.emit(one, Bytes{0xC0, 1}, microseconds(0));
        place.service.emit(one, Bytes{0xD0, 1}, microseconds(0));
        place.service.advance(milliseconds(1));
    };
    for (int i = 0; i < 3; ++i) {
        sound();
        EXPECT_TRUE(VirtualPlace::has_heard(client));
        EXPECT_TRUE(VirtualPlace::has_heard(client));
        EXPECT_EQ(take().size(), 2U);
        EXPECT_FALSE(VirtualPlace::has_heard(client));
        EXPECT_TRUE(take().empty());
    }
    sound();
    line.reset();
    EXPECT_FALSE(VirtualPlace::has_heard(client));
    EXPECT_TRUE(take().empty());
}

TEST_F(MachineLineTest, LineThatIsClosedLeavesTheOthersAlone) {
    const MIDIObjectRef one = attach("4AC5F4C4");
    const MIDIObjectRef other = attach("4AC6F4C4");
    std::optional<MachineLine> closing{std::in_place, client, VirtualPlace::target(one)};
    const MachineLine staying{client, VirtualPlace::target(other)};
    const auto sound = [&] {
        place.service.emit(one, Bytes{0xF8}, microseconds(0));
        place.service.emit(other, Bytes{0xFA}, microseconds(0));
        place.service.advance(milliseconds(1));
    };
    sound();
    closing.reset();
    EXPECT_TRUE(VirtualPlace::has_heard(client));
    sound();
    const std::vector<Heard> heard = take();
    ASSERT_EQ(heard.size(), 2U);
    for (const Heard& message : heard) {
        EXPECT_EQ(message.line, &staying);
        EXPECT_EQ(bytes_of(message), (Bytes{0xFA}));
    }
}

TEST_F(MachineLineTest, SendsToItsOwnDestinationAtOnce) {
    const MIDIObjectRef one = attach("4AC5F4C4");
    MachineLine line{client, VirtualPlace::target(one)};
    EXPECT_EQ(line.send(Bytes{0xF8, 0xF8, 0x90, 1, 2}), 0);
    EXPECT_EQ(received, (std::vector<Bytes>{{0xF8, 0xF8, 0x90, 1, 2}}));
    EXPECT_EQ(line.send(Bytes{0x90, 1}), -EBADMSG);
    EXPECT_EQ(line.send(Bytes(256, 0xF8)), 0);
    EXPECT_EQ(line.send(Bytes(300, 0xF8)), -EMSGSIZE);
    place.service.detach(one);
    EXPECT_EQ(line.send(Bytes{0xF8}), -ENODEV);
}

TEST_F(MachineLineTest, WithoutADestinationItListens) {
    const MIDIObjectRef one = attach("4AC5F4C4");
    setup::Target target = VirtualPlace::target(one);
    target.destination = {};
    MachineLine line{client, target};
    EXPECT_EQ(line.status(), 0);
    EXPECT_EQ(line.send(Bytes{0xF8}), -ENODEV);
    place.service.emit(one, Bytes{0xF8}, microseconds(0));
    place.service.advance(milliseconds(1));
    EXPECT_EQ(take().size(), 1U);
}

TEST_F(MachineLineTest, SourceThatHasGoneKeepsTheLineFromOpening) {
    const MIDIObjectRef one = attach("4AC5F4C4");
    place.service.detach(one);
    MachineLine line{client, VirtualPlace::target(one)};
    EXPECT_EQ(line.status(), -ENODEV);
    EXPECT_EQ(line.send(Bytes{0xF8}), -ENODEV);
}

// Everything with an older stamp than now() is found by the take() behind it.
TEST(Inbox, TakesAllThatWasStampedBefore) {
    const Watchdog watchdog{std::chrono::seconds(30)};
    EmbeddedBackend service;
    install_midi_backend(&service);
    {
        Client client{CFSTR("keyloft test"), setup::steady_now};
        const MIDIObjectRef source = service.attach({.name = "4AC5F4C4"});
        const MachineLine line{client, VirtualPlace::target(source)};
        constexpr std::size_t messages = 2'000;
        std::jthread machine{[&] {
            for (std::size_t i = 0; i < messages; ++i)
                service.emit(source, Bytes{0xF8}, microseconds(0));
        }};
        std::size_t count = 0;
        Time taken_at = Time::min();
        std::vector<Heard> heard;
        while (count < messages) {
            std::array<pollfd, 1> inbox = {
                {{.fd = client.inbox().descriptor(), .events = POLLIN, .revents = 0}}};
            setup::wait_readable(inbox, std::nullopt);
            const Time now = client.inbox().now();
            client.inbox().take(heard);
            for (const Heard& message : heard) {
                EXPECT_GE(message.at, taken_at);
                EXPECT_EQ(message.line, &line);
            }
            taken_at = now;
            count += heard.size();
        }
    }
    install_midi_backend(nullptr);
}
