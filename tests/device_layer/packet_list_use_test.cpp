// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

namespace {

// How the confirmed send uses its list, as services that are less helpful than ours see it.
class PacketListUse : public ConfirmedSequence {
protected:
    static void send() {
        recording.journal.clear();
        quietly([] { return core_midi_send_msg_combo(0xB5, 0x30, 0x07); });
    }

    // Leaves no zero bytes where the next call's local buffers will lie.
    [[gnu::noinline]] static void spoil_the_stack() {
        volatile unsigned char rubbish[16'384];
        for (volatile unsigned char& byte : rubbish)
            byte = 0xEE;
    }
};

// A service that leaves sent events in the list: each append follows the previous one until the
// list is cleared.
TEST_F(PacketListUse, each_append_gets_the_position_of_the_one_before) {
    recording.keeps_lists = true;
    send();
    const std::array<const char*, 10> positions = {"+4",  "+4",  "+16", "+28", "+40",
                                                   "+52", "+64", "+4",  "+4",  "+4"};
    Lines appends;
    for (std::size_t i = 0; i < positions.size(); ++i)
        appends.push_back(std::string("MIDIPacketListAdd 1024, ") + positions[i] + ", " +
                          written_down(sequence_events(0xB5, 0x30, 0x07)[i]));
    EXPECT_EQ(recording.calls({"MIDIPacketListAdd"}), twice(appends));
}

TEST_F(PacketListUse, clearing_between_the_steps_separates_their_events) {
    recording.keeps_lists = true;
    send();
    Lines sends = sequence_sends(0xB5, 0x30, 0x07);
    const std::string clock = ", " + written_down({0xF8});
    for (std::size_t i = 1; i < 6; ++i) // the clocks gather in the list
        sends[i] = sends[i - 1] + clock;
    EXPECT_EQ(recording.calls({"MIDISend"}), twice(sends));
}

// A service that overwrites the whole buffer at each send: all 1,024 bytes are zero at the start
// and at each pause.
TEST_F(PacketListUse, whole_buffer_is_cleared_before_every_pause_of_a_sequence) {
    recording.watches_list = true;
    spoil_the_stack();
    send();
    EXPECT_EQ(recording.list_cleared, std::vector<bool>(1 + 6 + 1 + 6, true));
}

TEST_F(PacketListUse, list_is_initialised_once) {
    send();
    EXPECT_EQ(recording.calls({"MIDIPacketListInit"}).size(), 1U);
    recording.journal.clear();
    quietly([] { return core_midi_send_msg(0x90, 1, 2); });
    EXPECT_EQ(recording.calls({"MIDIPacketListInit"}).size(), 1U);
}

TEST_F(PacketListUse, plain_send_fits_its_list_too) {
    recording.keeps_lists = true;
    recording.watches_list = true; // writes all 1,024 bytes of the list
    EXPECT_EQ(quietly([] { return core_midi_send_msg(0x90, 1, 2); }), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}), Lines{"MIDISend out, destination0, time 0: 90 01 02"});
}

} // namespace
