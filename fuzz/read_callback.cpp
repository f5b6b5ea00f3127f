// SPDX-License-Identifier: MIT
// Packet lists into the read callback: packets of any length, in memory that ends with the last
// one's last byte. What it prints, keeps and confirms is computed a second time.
#include "Include/usb_midi.h"
#include "fuzz/target.h"
#include "tests/support/captured_output.h"
#include "tests/support/device_state.h"

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace {

std::string hexadecimal(unsigned value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%x", value);
    return text.data();
}

/// The echo reader as its description has it.
struct Model {
    std::array<std::uint8_t, 2> expected;
    std::uint8_t flag;
    std::array<std::uint8_t, 64> kept{};
    std::string printed{};

    void read(const std::vector<Bytes>& packets) {
        for (const Bytes& packet : packets) {
            for (const std::uint8_t byte : packet)
                printed += hexadecimal(byte) + '\t';
            printed += "\r\n";
            std::copy_n(packet.begin(), std::min(packet.size(), kept.size()), kept.begin());
        }
        const bool is_bend = expected[0] >= 0xE0 && expected[0] <= 0xEF;
        if (kept[0] == expected[0] && (is_bend || kept[1] == expected[1])) {
            flag = 185;
            printed += "\r\n设定回显正常\r\n";
        }
        for (std::size_t i = 0; i < expected.size(); ++i)
            printed += "midi_setup_data " + std::to_string(i) + ' ' + hexadecimal(expected[i]) +
                       " , p " + hexadecimal(kept[i]) + "\r\n";
    }
};

std::vector<Bytes> read_packets(Input& input) {
    std::vector<Bytes> packets(input.byte() % 8U);
    for (Bytes& packet : packets) {
        const std::uint8_t kind = input.byte();
        const std::size_t length = kind == 0xFF ? input.word() % 2048U : kind;
        const auto data = input.bytes(length);
        packet.assign(data.begin(), data.end());
        packet.resize(length);
    }
    return packets;
}

/// The list that the packets are, in a piece of memory of exactly its size.
std::pair<std::unique_ptr<std::uint8_t[]>, std::size_t> lay_out(const std::vector<Bytes>& packets) {
    Bytes list(4);
    list[0] = static_cast<std::uint8_t>(packets.size());
    for (const Bytes& packet : packets) {
        list.resize((list.size() + 3) / 4 * 4);
        list.resize(list.size() + 8, 0xEE); // the time
        list.push_back(static_cast<std::uint8_t>(packet.size() & 0xFF));
        list.push_back(static_cast<std::uint8_t>(packet.size() >> 8));
        list.insert(list.end(), packet.begin(), packet.end());
    }
    auto memory = std::make_unique<std::uint8_t[]>(list.size());
    std::memcpy(memory.get(), list.data(), list.size());
    return {std::move(memory), list.size()};
}

bool keeps(const Model& reader) {
    for (std::size_t i = 0; i < reader.kept.size(); ++i) {
        if (midi_pack_setup_data[i] != reader.kept[i])
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input{data, size};
    reset_device_state();
    Model reader{.expected = {input.byte(), input.byte()}, .flag = input.byte()};
    midi_setup_data[0] = reader.expected[0];
    midi_setup_data[1] = reader.expected[1];
    midi_setup_data[2] = input.byte();
    set_up_ok_flag = reader.flag;
    CapturedOutput output;
    while (!input.empty()) {
        const auto packets = read_packets(input);
        const auto [list, length] = lay_out(packets);
        const Bytes before(list.get(), list.get() + length);
        MyReadProc(reinterpret_cast<const MIDIPacketList*>(list.get()), nullptr, nullptr);
        reader.read(packets);
        require(keeps(reader), "the record holds the last packet over the ones before");
        require(set_up_ok_flag == reader.flag, "the flag tells whether the echo agrees");
        require(std::equal(before.begin(), before.end(), list.get()), "the list is only read");
    }
    require(output.take() == reader.printed, "every byte and the comparison are printed");
    return 0;
}
