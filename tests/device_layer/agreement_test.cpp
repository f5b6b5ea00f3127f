// SPDX-License-Identifier: MIT
#include "protocol/sequence.h"
#include "simulation/firmware.h"
#include "tests/device_layer/confirmed_sequence.h"

namespace {

using protocol::KeyMapping;
using protocol::Message;

constexpr std::array numbers = {0, 1, 5, 63, 64, 100, 126, 127};

// Three have to agree: what the device layer sends, the sequence in protocol/, and what the
// machine's firmware accepts with its own recogniser and sends back.
class Agreement : public ConfirmedSequence {
protected:
    // Gives the firmware the sequence from protocol/, and sends the same message with a command,
    // which gets the firmware's echo.
    void send(const Message& message, MachineEvent::Kind kind) {
        Bytes cable;
        Lines expected;
        for (const protocol::SequenceEvent& event : protocol::confirmed_sequence(message)) {
            const Bytes bytes(event.bytes().begin(), event.bytes().end());
            expected.push_back("MIDISend out, destination0, " + written_down(bytes));
            cable.insert(cable.end(), bytes.begin(), bytes.end());
        }
        const MachineAnswer answer = firmware_.receive(cable);
        ASSERT_EQ(answer.replies.size(), 1U);
        ASSERT_EQ(answer.events.size(), 1U);
        EXPECT_EQ(answer.events[0].kind, kind);
        const MachineReply& echo = answer.replies[0];
        EXPECT_TRUE(protocol::confirms(message, std::span{echo.bytes}.first(echo.length)));

        recording.journal.clear();
        echo_in_the_long_pause({echo.bytes[0], echo.bytes[1], echo.bytes[2]});
        EXPECT_EQ(
            quietly([&] { return usb_midi_main(message[2], message[0], message[1], message[1]); }),
            0);
        EXPECT_EQ(recording.calls({"MIDISend"}), expected);
        EXPECT_EQ(set_up_ok_flag, 185);
    }

    Firmware firmware_;
};

TEST_F(Agreement, every_type_and_channel_is_sent_and_taken_as_the_mapping_it_stands_for) {
    for (const protocol::NamedType& named : protocol::message_types)
        for (int channel = 1; channel <= 16; ++channel)
            for (const int part : numbers)
                for (const int controller : numbers) {
                    const KeyMapping mapping{part, named.type, channel, controller};
                    SCOPED_TRACE(mapping_text(mapping));
                    ASSERT_NO_FATAL_FAILURE(
                        send(message_of(mapping).value(), MachineEvent::Kind::mapping));
                    ASSERT_EQ(*firmware_.table().find({.part = part}), mapping);
                    ASSERT_FALSE(HasFailure());
                }
}

TEST_F(Agreement, save_command_is_sent_and_taken_as_such) {
    send(*protocol::message_of({.part = 5}), MachineEvent::Kind::mapping);
    send(protocol::save_command, MachineEvent::Kind::save);
    EXPECT_EQ(firmware_.saved_table(), firmware_.table());
    EXPECT_EQ(firmware_.saved_table().size(), 1U);
}

} // namespace
