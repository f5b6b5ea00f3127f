// SPDX-License-Identifier: MIT
#include "midi_service/midi_service.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A list in a buffer like the device layer's, every byte of it 0xEE before the list is
/// initialised.
class PacketList : public testing::Test {
protected:
    PacketList() {
        room_.fill(std::byte{0xEE});
        current_ = MIDIPacketListInit(list_);
    }

    MIDIPacket* add(const Bytes& bytes, ByteCount list_size = size, MIDITimeStamp time = 1000) {
        return MIDIPacketListAdd(list_, list_size, current_, time, bytes.size(), bytes.data());
    }

    [[nodiscard]] std::ptrdiff_t offset(const MIDIPacket* packet) const {
        return reinterpret_cast<const std::byte*>(packet) - room_.data();
    }

    /// The value of some bytes of the buffer, in this machine's order.
    template<class T>
    [[nodiscard]] T at(std::size_t offset) const {
        T value;
        std::memcpy(&value, room_.data() + offset, sizeof value);
        return value;
    }

    static constexpr std::size_t size = 1024;
    alignas(MIDIPacketList) std::array<std::byte, size> room_{};
    MIDIPacketList* list_ = reinterpret_cast<MIDIPacketList*>(room_.data());
    MIDIPacket* current_ = nullptr;
};

} // namespace

TEST_F(PacketList, InitialisingEmptiesItAndGivesThePositionBehindTheCount) {
    EXPECT_EQ(at<std::uint32_t>(0), 0U);
    EXPECT_EQ(offset(current_), 4);
}

TEST_F(PacketList, FirstPacketHasThePublishedLayout) {
    const Bytes note{0x90, 0x40, 0x7F};
    ASSERT_EQ(offset(MIDIPacketListAdd(list_, size, current_, 0x1122334455667788, 3, note.data())),
              4);
    EXPECT_EQ(at<std::uint32_t>(0), 1U);
    EXPECT_EQ(at<std::uint64_t>(4), 0x1122334455667788U);
    EXPECT_EQ(at<std::uint16_t>(12), 3);
    EXPECT_EQ(at<std::uint8_t>(14), 0x90);
    EXPECT_EQ(at<std::uint8_t>(15), 0x40);
    EXPECT_EQ(at<std::uint8_t>(16), 0x7F);
    EXPECT_EQ(at<std::uint8_t>(20), 0xEE) << "nothing is written behind the packet";
}

TEST_F(PacketList, NextPacketStartsAtAMultipleOfFour) {
    const std::vector<std::pair<std::size_t, std::ptrdiff_t>> rows{
        {0, 16}, {1, 16}, {2, 16}, {3, 20}, {4, 20}, {5, 20}, {6, 20}, {7, 24}, {256, 272}};
    for (const auto& [length, next] : rows) {
        current_ = MIDIPacketListInit(list_);
        current_ = add(Bytes(length, 0x01));
        ASSERT_NE(current_, nullptr);
        EXPECT_EQ(offset(add({0xF8})), next) << length;
        EXPECT_EQ(list_->numPackets, 2U);
        EXPECT_EQ(at<std::uint16_t>(12), length);
    }
}

TEST_F(PacketList, EachEventIsAPacketOfItsOwnThoughTheTimeIsTheSame) {
    current_ = add({0xF8});
    current_ = add({0x90, 0x40, 0x7F});
    current_ = add({0xF8});
    EXPECT_EQ(list_->numPackets, 3U);
    EXPECT_EQ(at<std::uint16_t>(12), 1);
    EXPECT_EQ(at<std::uint8_t>(14), 0xF8);
    EXPECT_EQ(at<std::uint64_t>(16), 1000U);
    EXPECT_EQ(at<std::uint16_t>(24), 3);
    EXPECT_EQ(at<std::uint8_t>(26), 0x90);
    EXPECT_EQ(at<std::uint8_t>(28), 0x7F);
    EXPECT_EQ(offset(current_), 32);
    EXPECT_EQ(at<std::uint8_t>(42), 0xF8);
}

TEST_F(PacketList, AppendToAListThatHoldsNothingGoesFirstWhereverThePositionPoints) {
    current_ = add({0x90, 0x40, 0x7F});
    current_ = add({0x80, 0x40, 0x7F});
    ASSERT_EQ(offset(current_), 20);
    room_.fill(std::byte{0});
    current_ = add({0xB0, 0x01, 0x02});
    EXPECT_EQ(offset(current_), 4);
    EXPECT_EQ(list_->numPackets, 1U);
    EXPECT_EQ(at<std::uint8_t>(14), 0xB0);

    list_->numPackets = 0;
    current_ = nullptr;
    EXPECT_EQ(offset(add({0xF8})), 4);
    list_->numPackets = 0;
    current_ = reinterpret_cast<MIDIPacket*>(room_.data() + size);
    EXPECT_EQ(offset(add({0xF8})), 4);
    EXPECT_EQ(list_->numPackets, 1U);
}

TEST_F(PacketList, AppendThatDoesNotFitChangesNothing) {
    current_ = add(Bytes(500, 0x01));
    current_ = add(Bytes(400, 0x02));
    ASSERT_NE(current_, nullptr);
    const auto before = room_;
    EXPECT_EQ(add(Bytes(200, 0x03)), nullptr);
    EXPECT_EQ(room_, before);
}

TEST_F(PacketList, AppendMayFillTheListToItsLastByte) {
    // 4 bytes of count, 10 in front of the data, 3 data.
    EXPECT_EQ(add({0x90, 0x40, 0x7F}, 16), nullptr);
    EXPECT_EQ(list_->numPackets, 0U);
    ASSERT_NE(add({0x90, 0x40, 0x7F}, 17), nullptr);

    // The second starts at 20.
    current_ = list_->packet;
    EXPECT_EQ(add({0xF8}, 30), nullptr);
    EXPECT_EQ(list_->numPackets, 1U);
    EXPECT_EQ(offset(add({0xF8}, 31)), 20);
    EXPECT_EQ(list_->numPackets, 2U);
}

TEST_F(PacketList, ListTooSmallForAnyPacketTakesNone) {
    const auto before = room_;
    for (const ByteCount small : {0U, 1U, 3U, 4U, 13U})
        EXPECT_EQ(add({}, small), nullptr) << small;
    EXPECT_EQ(room_, before);
    EXPECT_NE(add({}, 14), nullptr);
}

TEST_F(PacketList, LengthBeyondAPacketsFieldIsRefused) {
    std::vector<std::uint32_t> large(100'000 / 4);
    auto* list = reinterpret_cast<MIDIPacketList*>(large.data());
    MIDIPacket* packet = MIDIPacketListInit(list);
    const Bytes data(70'000, 0x01);
    EXPECT_EQ(MIDIPacketListAdd(list, 100'000, packet, 0, 65'536, data.data()), nullptr);
    EXPECT_EQ(list->numPackets, 0U);
    ASSERT_NE(MIDIPacketListAdd(list, 100'000, packet, 0, 65'535, data.data()), nullptr);
    EXPECT_EQ(list->packet[0].length, 65'535);
}

TEST_F(PacketList, LengthThatWouldWrapIsRefused) {
    const auto before = room_;
    const std::uint8_t byte = 0xF8;
    for (const ByteCount length :
         {std::numeric_limits<ByteCount>::max(), std::numeric_limits<ByteCount>::max() - 13,
          ByteCount{1} << 32, (ByteCount{1} << 32) + 1, (ByteCount{1} << 16) + 1})
        EXPECT_EQ(MIDIPacketListAdd(list_, size, current_, 0, length, &byte), nullptr) << length;
    EXPECT_EQ(room_, before);
}

TEST_F(PacketList, PositionOutsideTheListIsRefused) {
    current_ = add({0xF8});
    const auto before = room_;
    current_ = nullptr;
    EXPECT_EQ(add({0xF8}), nullptr);
    current_ = reinterpret_cast<MIDIPacket*>(room_.data());
    EXPECT_EQ(add({0xF8}), nullptr) << "the count";
    current_ = reinterpret_cast<MIDIPacket*>(room_.data() + size);
    EXPECT_EQ(add({0xF8}), nullptr) << "behind the buffer";
    current_ = reinterpret_cast<MIDIPacket*>(room_.data() + size - 4);
    EXPECT_EQ(add({0xF8}), nullptr) << "where no packet's head fits";
    EXPECT_EQ(room_, before);
}

TEST_F(PacketList, PositionWhereNoPacketCanStartIsRefused) {
    room_.fill(std::byte{0}); // any length that is read there is a short one
    add({0xF8});
    const auto before = room_;
    for (const std::size_t odd : {5U, 6U, 7U, 21U}) {
        current_ = reinterpret_cast<MIDIPacket*>(room_.data() + odd);
        EXPECT_EQ(add({0xF8}), nullptr) << odd;
    }
    EXPECT_EQ(room_, before);
}

TEST_F(PacketList, FullListTakesAnotherAfterItWasInitialisedAgain) {
    while (MIDIPacket* next = add({0x90, 0x01, 0x02}))
        current_ = next;
    EXPECT_EQ(list_->numPackets, 63U) << "sixteen bytes each behind the count, less what is left";
    current_ = MIDIPacketListInit(list_);
    EXPECT_EQ(offset(add({0xF8})), 4);
    EXPECT_EQ(list_->numPackets, 1U);
}
