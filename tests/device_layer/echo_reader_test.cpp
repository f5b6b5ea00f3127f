// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstdio>
#include <cstring>
#include <numeric>
#include <sstream>
#include <type_traits>

namespace {

using Bytes = std::vector<std::uint8_t>;

// A packet list with garbage in the gaps between fields and data.
class PacketListBytes {
public:
    explicit PacketListBytes(const std::vector<Bytes>& packets) : storage_(20'000, 0xEEEEEEEE) {
        auto* const bytes = reinterpret_cast<std::uint8_t*>(storage_.data());
        const auto count = static_cast<std::uint32_t>(packets.size());
        std::memcpy(bytes, &count, sizeof count);
        std::size_t at = sizeof count;
        for (const Bytes& data : packets) {
            const auto length = static_cast<std::uint16_t>(data.size());
            std::memcpy(bytes + at + 8, &length, sizeof length);
            std::copy(data.begin(), data.end(), bytes + at + 10);
            at = (at + 10 + data.size() + 3) / 4 * 4;
        }
    }

    [[nodiscard]] const MIDIPacketList* get() const {
        return reinterpret_cast<const MIDIPacketList*>(storage_.data());
    }

private:
    std::vector<std::uint32_t> storage_; // words, for the list's alignment
};

class EchoReader : public DeviceLayerTest {
protected:
    static void expect_echo(Bytes bytes) { std::copy(bytes.begin(), bytes.end(), midi_setup_data); }

    static std::string read(const std::vector<Bytes>& packets) {
        const PacketListBytes list(packets);
        return printed_by([&] { MyReadProc(list.get(), nullptr, nullptr); });
    }

    static Bytes kept(std::size_t count) {
        return {std::begin(midi_pack_setup_data), std::begin(midi_pack_setup_data) + count};
    }
};

static_assert(std::is_same_v<decltype(set_up_ok_flag), std::atomic<std::uint8_t>>);
static_assert(sizeof midi_setup_data == 8 && sizeof midi_pack_setup_data == 64);

TEST_F(EchoReader, matching_echo_raises_the_flag) {
    expect_echo({0x93, 0x40, 0x7F});
    EXPECT_EQ(read({{0x93, 0x40, 0x7F}}), "93\t40\t7f\t\r\n"
                                          "\r\n设定回显正常\r\n"
                                          "midi_setup_data 0 93 , p 93\r\n"
                                          "midi_setup_data 1 40 , p 40\r\n");
    EXPECT_EQ(set_up_ok_flag, 185);
    EXPECT_EQ(kept(4), (Bytes{0x93, 0x40, 0x7F, 0}));
}

TEST_F(EchoReader, pitch_bend_is_matched_by_its_status_alone) {
    expect_echo({0xE3, 0x10, 0x22});
    EXPECT_EQ(read({{0xE3, 0x7F, 0x00}}),
              "e3\t7f\t0\t\r\n" + echo_is_right + compared("e3", "e3", "10", "7f"));
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(EchoReader, pitch_bend_of_another_channel_is_no_match) {
    expect_echo({0xE3, 0x10, 0x22});
    EXPECT_EQ(read({{0xE4, 0x10, 0x22}}), "e4\t10\t22\t\r\n" + compared("e3", "e4", "10", "10"));
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(EchoReader, other_first_data_byte_is_no_match) {
    expect_echo({0x93, 0x40, 0x7F});
    set_up_ok_flag = 7;
    EXPECT_EQ(read({{0x93, 0x41, 0x7F}}), "93\t41\t7f\t\r\n" + compared("93", "93", "40", "41"));
    EXPECT_EQ(set_up_ok_flag, 7);
}

TEST_F(EchoReader, other_status_is_no_match) {
    expect_echo({0x93, 0x40, 0x7F});
    EXPECT_EQ(read({{0x83, 0x40, 0x7F}}), "83\t40\t7f\t\r\n" + compared("93", "83", "40", "40"));
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(EchoReader, second_data_byte_is_never_compared) {
    expect_echo({0x93, 0x40, 0x7F});
    EXPECT_NE(read({{0x93, 0x40, 0x11}}).find("设定回显正常"), std::string::npos);
    EXPECT_EQ(set_up_ok_flag, 185);
}

// Every expected status with the right and a wrong first data byte: only E0 to EF forgive it.
TEST_F(EchoReader, only_pitch_bend_forgives_the_first_data_byte) {
    for (unsigned status = 0; status < 256; ++status) {
        const auto byte = static_cast<std::uint8_t>(status);
        expect_echo({byte, 0x10, 0});
        set_up_ok_flag = 0;
        (void)read({{byte, 0x10, 0}});
        EXPECT_EQ(set_up_ok_flag, 185) << status;
        set_up_ok_flag = 0;
        (void)read({{byte, 0x90, 0}});
        EXPECT_EQ(set_up_ok_flag, status >= 0xE0 && status < 0xF0 ? 185 : 0) << status;
    }
}

// The expected status decides which rule applies, not the received one.
TEST_F(EchoReader, arriving_pitch_bend_gets_no_exception) {
    expect_echo({0x93, 0x40, 0x7F});
    (void)read({{0xE3, 0x40, 0x7F}});
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(EchoReader, last_of_two_packets_is_compared) {
    expect_echo({0x90, 0x40, 0x7F});
    EXPECT_EQ(read({{0x90, 0x40, 0x7F}, {0xF8}}),
              "90\t40\t7f\t\r\nf8\t\r\n" + compared("90", "f8", "40", "40"));
    EXPECT_EQ(kept(4), (Bytes{0xF8, 0x40, 0x7F, 0}));
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(EchoReader, match_in_an_earlier_packet_is_lost_and_in_the_last_counts) {
    expect_echo({0x90, 0x40, 0x7F});
    (void)read({{0x90, 0x40, 0x7F}, {0x80, 0x40, 0x7F}});
    EXPECT_EQ(set_up_ok_flag, 0);
    (void)read({{0x80, 0x40, 0x7F}, {0xF8}, {0x90, 0x40, 0x7F}});
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(EchoReader, one_byte_is_compared_together_with_what_an_earlier_call_left) {
    expect_echo({0xF8, 0x40, 0});
    (void)read({{0x90, 0x40, 0x7F}});
    EXPECT_EQ(set_up_ok_flag, 0);
    EXPECT_EQ(read({{0xF8}}), "f8\t\r\n" + echo_is_right + compared("f8", "f8", "40", "40"));
    EXPECT_EQ(set_up_ok_flag, 185);
    EXPECT_EQ(kept(3), (Bytes{0xF8, 0x40, 0x7F}));
}

TEST_F(EchoReader, no_packets_compare_what_is_there) {
    expect_echo({0x90, 0x40, 0x7F});
    (void)read({{0x90, 0x40, 0x7F}});
    set_up_ok_flag = 0;
    EXPECT_EQ(read({}), echo_is_right + compared("90", "90", "40", "40"));
    EXPECT_EQ(set_up_ok_flag, 185);
    expect_echo({0x91, 0x40, 0x7F});
    set_up_ok_flag = 0;
    EXPECT_EQ(read({}), compared("91", "90", "40", "40"));
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(EchoReader, empty_packet_prints_its_line_end_and_copies_nothing) {
    expect_echo({0x90, 0x40, 0x7F});
    EXPECT_EQ(read({{0x90, 0x41}, {}}), "90\t41\t\r\n\r\n" + compared("90", "90", "40", "41"));
    EXPECT_EQ(kept(3), (Bytes{0x90, 0x41, 0}));
}

TEST_F(EchoReader, flag_stays_raised_through_later_mismatches) {
    expect_echo({0x90, 0x40, 0x7F});
    (void)read({{0x90, 0x40, 0x7F}});
    (void)read({{0xF8}});
    (void)read({{0xB0, 0x01, 0x02}});
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(EchoReader, shorter_packet_overwrites_only_its_own_bytes) {
    (void)read({{0xF0, 1, 2, 3, 4, 5, 0xF7}});
    (void)read({{0xC0, 9}});
    EXPECT_EQ(kept(8), (Bytes{0xC0, 9, 2, 3, 4, 5, 0xF7, 0}));
}

TEST_F(EchoReader, zeroed_record_is_matched_by_zero_bytes) {
    EXPECT_EQ(read({}), echo_is_right + compared("0", "0", "0", "0"));
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(EchoReader, record_of_the_expected_echo_stays) {
    expect_echo({0x90, 0x40, 0x7F});
    (void)read({{0x90, 0x40, 0x11}});
    EXPECT_EQ(expected_echo(), (std::array{0x90, 0x40, 0x7F}));
    EXPECT_EQ(recording.journal, Lines{});
}

// A standard output that looks at the flag with each piece that is written.
TEST_F(EchoReader, flag_is_raised_after_the_lines_are_printed) {
    static std::string written;
    static bool raised_while_printing;
    written.clear();
    raised_while_printing = false;
    const auto look = [](void*, const char* text, std::size_t size) {
        written.append(text, size);
        raised_while_printing |= set_up_ok_flag != 0;
        return static_cast<ssize_t>(size);
    };
    std::FILE* const watched = fopencookie(nullptr, "w", {nullptr, +look, nullptr, nullptr});
    ASSERT_NE(watched, nullptr);
    std::setvbuf(watched, nullptr, _IONBF, 0);

    expect_echo({0x90, 0x40, 0x7F});
    const PacketListBytes list({{0x90, 0x40, 0x7F}});
    std::FILE* const real = stdout;
    stdout = watched;
    MyReadProc(list.get(), nullptr, nullptr);
    stdout = real;
    std::fclose(watched);

    EXPECT_NE(written.find("midi_setup_data 1 40 , p 40\r\n"), std::string::npos);
    EXPECT_FALSE(raised_while_printing);
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(EchoReader, contexts_are_not_read) {
    const PacketListBytes list({{0x90, 0x40, 0x7F}});
    expect_echo({0x90, 0x40, 0x7F});
    auto* const nowhere = reinterpret_cast<void*>(std::uintptr_t{8});
    (void)printed_by([&] { MyReadProc(list.get(), nowhere, nowhere); });
    EXPECT_EQ(set_up_ok_flag, 185);
}

class LongPacket : public EchoReader, public testing::WithParamInterface<std::size_t> {};

TEST_P(LongPacket, is_printed_and_cut_to_the_buffer) {
    Bytes data(GetParam());
    std::iota(data.begin(), data.end(), std::uint8_t{0x81});
    expect_echo({0x81, 0x82, 0x83});
    fill(offline_flag, 0x5A);

    std::ostringstream lines;
    for (const std::uint8_t byte : data)
        lines << std::hex << unsigned{byte} << '\t';
    EXPECT_EQ(read({data}),
              lines.str() + "\r\n" + echo_is_right + compared("81", "81", "82", "82"));
    data.resize(64);
    EXPECT_EQ(kept(64), data);
    EXPECT_EQ(expected_echo(), (std::array{0x81, 0x82, 0x83}));
    EXPECT_EQ(set_up_ok_flag, 185);
}

INSTANTIATE_TEST_SUITE_P(length, LongPacket, testing::Values(63, 64, 65, 256, 300, 65535),
                         testing::PrintToStringParamName());

// The next packet starts at the next multiple of four behind the data, at every length.
TEST_F(EchoReader, next_packet_lies_at_the_next_multiple_of_four) {
    for (std::size_t length = 0; length <= 300; ++length) {
        const PacketListBytes list({Bytes(length, 0x11), {0xB0, 0x01, 0x02}});
        const MIDIPacket* const first = list.get()->packet;
        const MIDIPacket* const next = MIDIPacketNext(first);
        const auto distance =
            reinterpret_cast<std::uintptr_t>(next) - reinterpret_cast<std::uintptr_t>(first);
        ASSERT_EQ(distance, (10 + length + 3) / 4 * 4) << length;
        ASSERT_EQ(next->length, 3) << length;
        ASSERT_EQ(next->data[0], 0xB0) << length;
    }
}

TEST_F(EchoReader, packets_of_all_lengths_are_read_one_behind_the_other) {
    std::vector<Bytes> packets;
    std::string lines;
    for (std::size_t length = 1; length <= 9; ++length) {
        packets.emplace_back(length, static_cast<std::uint8_t>(0xA0 + length));
        for (std::size_t i = 0; i < length; ++i)
            lines += "a" + std::to_string(length) + "\t";
        lines += "\r\n";
    }
    EXPECT_EQ(read(packets), lines + compared("0", "a9", "0", "a9"));
}

} // namespace
