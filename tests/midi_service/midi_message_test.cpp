// SPDX-License-Identifier: MIT
#include "midi_service/midi_message.h"

#include "tests/support/service_use.h"

namespace {

using Messages = std::vector<Bytes>;

/// What a new reader makes of some bytes.
Messages read(const Bytes& bytes) {
    MessageReader reader;
    Messages messages;
    for (const std::uint8_t byte : bytes) {
        const std::span<const std::uint8_t> message = reader.read(byte);
        if (!message.empty())
            messages.emplace_back(message.begin(), message.end());
    }
    return messages;
}

} // namespace

TEST(MessageLength, IsThatOfTheMidiStandardForEveryByte) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        std::size_t expected = 0;
        if (byte >= 0x80 && byte < 0xF0)
            expected = byte >= 0xC0 && byte < 0xE0 ? 2 : 3;
        else if (byte == 0xF2)
            expected = 3;
        else if (byte == 0xF1 || byte == 0xF3)
            expected = 2;
        else if (byte == 0xF6 || byte == 0xF8 || byte == 0xFA || byte == 0xFB || byte == 0xFC ||
                 byte == 0xFE || byte == 0xFF)
            expected = 1;
        EXPECT_EQ(message_length(static_cast<std::uint8_t>(byte)), expected) << byte;
    }
}

TEST(WholeMessage, NeedsItsStatusAndAllItsData) {
    for (unsigned status = 0; status < 256; ++status) {
        const auto first = static_cast<std::uint8_t>(status);
        const std::size_t length = message_length(first);
        for (std::size_t given = 0; given <= 4; ++given) {
            Bytes bytes(given, 0x7F);
            if (given > 0)
                bytes[0] = first;
            EXPECT_EQ(whole_message(bytes), given >= length && given > 0 ? length : 0)
                << status << ' ' << given;
        }
    }
}

TEST(WholeMessage, RefusesAStatusWhereDataBelong) {
    for (unsigned byte = 0x80; byte < 256; ++byte) {
        const auto status = static_cast<std::uint8_t>(byte);
        EXPECT_EQ(whole_message(Bytes{0x90, status, 0x00}), 0U) << byte;
        EXPECT_EQ(whole_message(Bytes{0x90, 0x00, status}), 0U) << byte;
        EXPECT_EQ(whole_message(Bytes{0xC0, status}), 0U) << byte;
        EXPECT_EQ(whole_message(Bytes{0xF2, 0x00, status}), 0U) << byte;
    }
}

TEST(WholeMessage, IsTheFirstOfSeveral) {
    EXPECT_EQ(whole_message(Bytes{0xF8, 0x90, 0x40, 0x7F}), 1U);
    EXPECT_EQ(whole_message(Bytes{0xC0, 0x01, 0x02}), 2U);
    EXPECT_EQ(whole_message(Bytes{0x90, 0x40, 0x7F, 0xFF}), 3U);
    EXPECT_EQ(whole_message(Bytes{0xF0, 0x01, 0xF7, 0xF0}), 3U);
}

TEST(WholeMessage, OfExclusiveDataRunsToItsEnd) {
    for (const std::size_t length : {2U, 3U, 255U, 256U, 257U, 65535U})
        EXPECT_EQ(whole_message(exclusive(length)), length);
    EXPECT_EQ(whole_message(Bytes{0xF0}), 0U);
    EXPECT_EQ(whole_message(Bytes{0xF0, 0x01, 0x02}), 0U);
    EXPECT_EQ(whole_message(Bytes{0xF0, 0x01, 0x90, 0xF7}), 0U);
    EXPECT_EQ(whole_message(Bytes{0xF0, 0x01, 0xF0, 0xF7}), 0U);
    EXPECT_EQ(whole_message(Bytes{0xF7}), 0U);
}

TEST(WholeMessage, OfNothingIsNone) {
    EXPECT_EQ(whole_message({}), 0U);
}

TEST(MessageReader, GivesEachMessageWithItsLastByte) {
    EXPECT_EQ(read({0x90, 0x40, 0x7F, 0xC1, 0x05, 0xE2, 0x00, 0x40, 0xF2, 0x01, 0x02, 0xF1, 0x33,
                    0xF3, 0x04, 0xF6, 0xF8}),
              (Messages{{0x90, 0x40, 0x7F},
                        {0xC1, 0x05},
                        {0xE2, 0x00, 0x40},
                        {0xF2, 0x01, 0x02},
                        {0xF1, 0x33},
                        {0xF3, 0x04},
                        {0xF6},
                        {0xF8}}));
}

TEST(MessageReader, WritesRunningStatusOut) {
    EXPECT_EQ(read({0x93, 0x40, 0x7F, 0x41, 0x00, 0x42, 0x01, 0xD0, 0x11, 0x12}),
              (Messages{{0x93, 0x40, 0x7F},
                        {0x93, 0x41, 0x00},
                        {0x93, 0x42, 0x01},
                        {0xD0, 0x11},
                        {0xD0, 0x12}}));
}

TEST(MessageReader, RealTimeByteInsideAMessageComesFirst) {
    for (const std::uint8_t byte : Bytes{0xF8, 0xFA, 0xFB, 0xFC, 0xFE, 0xFF}) {
        EXPECT_EQ(read({0x90, byte, 0x40, byte, 0x7F, 0x41, byte, 0x00}),
                  (Messages{{byte}, {byte}, {0x90, 0x40, 0x7F}, {byte}, {0x90, 0x41, 0x00}}));
        EXPECT_EQ(read({0xF0, 0x01, byte, 0x02, 0xF7}),
                  (Messages{{byte}, {0xF0, 0x01, 0x02, 0xF7}}));
    }
}

TEST(MessageReader, UndefinedRealTimeByteIsDroppedAndDisturbsNothing) {
    for (const std::uint8_t byte : Bytes{0xF9, 0xFD}) {
        EXPECT_EQ(read({0x90, byte, 0x40, byte, 0x7F, byte, 0x41, 0x00}),
                  (Messages{{0x90, 0x40, 0x7F}, {0x90, 0x41, 0x00}}));
        EXPECT_EQ(read({0xF0, byte, 0x01, 0xF7}), (Messages{{0xF0, 0x01, 0xF7}}));
    }
}

TEST(MessageReader, SystemMessageEndsRunningStatus) {
    for (const Bytes& system : {Bytes{0xF1, 0x01}, Bytes{0xF2, 0x01, 0x02}, Bytes{0xF3, 0x01},
                                Bytes{0xF6}, Bytes{0xF0, 0x01, 0xF7}}) {
        EXPECT_EQ(read(joined({{0x90, 0x40, 0x7F}, system, {0x41, 0x00, 0x42, 0x00}})),
                  (Messages{{0x90, 0x40, 0x7F}, system}));
    }
    EXPECT_EQ(read({0x90, 0x40, 0x7F, 0xF4, 0x41, 0x00}), (Messages{{0x90, 0x40, 0x7F}}));
    EXPECT_EQ(read({0x90, 0x40, 0x7F, 0xF5, 0x41, 0x00}), (Messages{{0x90, 0x40, 0x7F}}));
}

TEST(MessageReader, DataWithoutAStatusAreDropped) {
    EXPECT_EQ(read({0x01, 0x02, 0x03, 0x90, 0x40, 0x7F}), (Messages{{0x90, 0x40, 0x7F}}));
}

TEST(MessageReader, MessageThatIsCutOffByAnotherIsDropped) {
    EXPECT_EQ(read({0x90, 0x40, 0xB1, 0x01, 0x02}), (Messages{{0xB1, 0x01, 0x02}}));
    EXPECT_EQ(read({0xF2, 0x01, 0xC0, 0x05}), (Messages{{0xC0, 0x05}}));
    EXPECT_EQ(read({0x90, 0x40, 0xF6, 0xB1, 0x01, 0x02}), (Messages{{0xF6}, {0xB1, 0x01, 0x02}}));
}

TEST(MessageReader, EndOfExclusiveDataAloneIsDropped) {
    EXPECT_EQ(read({0xF7, 0x90, 0x40, 0x7F, 0xF7, 0xF8}), (Messages{{0x90, 0x40, 0x7F}, {0xF8}}));
}

TEST(MessageReader, ShortExclusiveDataComeWhole) {
    for (const std::size_t length : {2U, 3U, 255U, 256U})
        EXPECT_EQ(read(exclusive(length)), (Messages{exclusive(length)}));
}

TEST(MessageReader, LongExclusiveDataComeInPiecesOfAtMost256Bytes) {
    for (const std::size_t length : {257U, 511U, 512U, 513U, 1000U, 65536U}) {
        const Messages pieces = read(exclusive(length));
        EXPECT_EQ(pieces.size(), (length + 255) / 256);
        for (const Bytes& piece : pieces)
            EXPECT_LE(piece.size(), 256U);
        EXPECT_EQ(joined(pieces), exclusive(length));
    }
}

TEST(MessageReader, MessageBehindExclusiveDataThatNeverEndedIsRead) {
    const Messages messages = read({0xF0, 0x01, 0x02, 0x90, 0x40, 0x7F, 0x41, 0x00});
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(messages[messages.size() - 2], (Bytes{0x90, 0x40, 0x7F}));
    EXPECT_EQ(messages.back(), (Bytes{0x90, 0x41, 0x00}));
}

TEST(MessageReader, ExclusiveDataBehindExclusiveDataThatNeverEndedAreRead) {
    EXPECT_EQ(read({0xF0, 0x01, 0xF0, 0x02, 0xF7}).back(), (Bytes{0xF0, 0x02, 0xF7}));
}
