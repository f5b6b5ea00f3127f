// SPDX-License-Identifier: MIT
// Appending at any position of any buffer, and sending what then lies there. The buffer is as large
// as it is said to be, to the byte.
#include "fuzz/midi_model.h"
#include "midi_service/embedded/embedded_backend.h"
#include "midi_service/midi_service.h"

#include <cerrno>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t head = 10; // time and length, in front of a packet's data

/// An output port, and a destination that keeps what it gets.
class World {
public:
    World() {
        install_midi_backend(&backend_);
        MIDIClientRef client = 0;
        MIDIClientCreate(CFSTR("client"), nullptr, nullptr, &client);
        MIDIOutputPortCreate(client, CFSTR("port"), &port_);
    }
    ~World() { install_midi_backend(nullptr); }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    OSStatus send(MIDIPacketList* list) { return MIDISend(port_, destination_, list); }

    Bytes received{};

private:
    EmbeddedBackend backend_{EmbeddedBackend::Time::manual};
    MIDIPortRef port_ = 0;
    MIDIEndpointRef destination_ = backend_.attach({.name = "destination"}, [this](auto messages) {
        received.insert(received.end(), messages.begin(), messages.end());
    });
};

/// A list in a buffer of its own, and a model of the bytes that should be in it.
class Buffer {
public:
    Buffer(World& world, std::size_t size)
        : world_(world), size_(size), room_(std::make_unique<std::uint8_t[]>(size)), wanted_(size) {
    }

    void initialise() {
        current_ = MIDIPacketListInit(list());
        std::fill_n(wanted_.begin(), 4, std::uint8_t{0});
        check("initialising empties the list and changes nothing else");
        require(current_ == at(4), "the first position is behind the count");
    }

    void scribble(std::size_t offset, std::span<const std::uint8_t> bytes) {
        offset %= size_;
        const std::size_t length = std::min(bytes.size(), size_ - offset);
        std::copy_n(bytes.begin(), length, room_.get() + offset);
        std::copy_n(bytes.begin(), length, wanted_.begin() + static_cast<std::ptrdiff_t>(offset));
    }

    void point(std::ptrdiff_t offset) { current_ = at(offset); }
    void point_nowhere() { current_ = nullptr; }

    void append(std::size_t list_size, std::uint64_t length, const Bytes& data) {
        list_size = std::min(list_size, size_);
        const std::size_t place = place_for(list_size, length);
        MIDIPacket* const result =
            MIDIPacketListAdd(list(), list_size, current_, 0x0102030405060708, length, data.data());
        if (place == 0) {
            require(result == nullptr, "what does not fit, or goes nowhere, is refused");
            check("a refused event changes nothing");
            return;
        }
        require(result == at(static_cast<std::ptrdiff_t>(place)), "the event has its place");
        write(place, 8, 0x0102030405060708);
        write(place + 8, 2, length);
        std::copy_n(data.begin(), length,
                    wanted_.begin() + static_cast<std::ptrdiff_t>(place + head));
        write(0, 4, read(0, 4) + 1);
        check("an event changes its own place and the count");
        current_ = result;
    }

    /// Sends the list, unless it claims to be longer than its buffer.
    void send() {
        Bytes sent;
        bool whole = true;
        std::size_t place = 4;
        for (std::uint64_t i = 0; whole && i < read(0, 4); ++i) {
            if (place + head > size_ || place + head + read(place + 8, 2) > size_)
                return;
            const auto data = std::span{wanted_}.subspan(place + head, read(place + 8, 2));
            whole = are_whole_messages(data);
            sent.insert(sent.end(), data.begin(), data.end());
            place = (place + head + data.size() + 3) / 4 * 4;
        }
        world_.received.clear();
        const OSStatus status = world_.send(list());
        require(status == (whole ? 0 : -EBADMSG), "only whole messages are sent");
        require(world_.received == (whole ? sent : Bytes{}), "they arrive all or not at all");
        write(0, 4, 0);
        check("sending empties the list and changes nothing else");
    }

private:
    MIDIPacketList* list() { return reinterpret_cast<MIDIPacketList*>(room_.get()); }

    MIDIPacket* at(std::ptrdiff_t offset) {
        const auto address = reinterpret_cast<std::intptr_t>(room_.get()) + offset;
        return reinterpret_cast<MIDIPacket*>(address);
    }

    std::uint64_t read(std::size_t offset, std::size_t length) const {
        std::uint64_t value = 0;
        std::memcpy(&value, &wanted_.at(offset), length);
        return value;
    }

    void write(std::size_t offset, std::size_t length, std::uint64_t value) {
        std::memcpy(&wanted_.at(offset), &value, length);
    }

    /// Where the next event has to go; 0 if it does not fit.
    std::size_t place_for(std::size_t list_size, std::uint64_t length) {
        std::size_t place = 4;
        if (read(0, 4) != 0) {
            const auto offset = reinterpret_cast<std::intptr_t>(current_) -
                                reinterpret_cast<std::intptr_t>(room_.get());
            const auto position = static_cast<std::size_t>(offset);
            if (offset < 4 || offset % 4 != 0 || position > list_size ||
                position + head > list_size)
                return 0;
            place = (position + head + read(position + 8, 2) + 3) / 4 * 4;
        }
        const bool fits = length <= 0xFFFF && place + head + length <= list_size;
        return fits ? place : 0;
    }

    void check(const char* what) const {
        require(std::equal(wanted_.begin(), wanted_.end(), room_.get()), what);
    }

    World& world_;
    std::size_t size_;
    std::unique_ptr<std::uint8_t[]> room_;
    Bytes wanted_;
    MIDIPacket* current_ = nullptr;
};

void append(Input& input, Buffer& buffer) {
    const std::uint16_t list_size = input.word();
    const std::uint8_t kind = input.byte();
    std::uint64_t length = kind;
    if (kind == 0xFF)
        length = input.word();
    if (kind == 0xFE)
        length = ~std::uint64_t{0} - input.word();
    const auto given = input.bytes(std::min<std::uint64_t>(length, 0xFFFF));
    Bytes data(given.begin(), given.end());
    if (length <= 0xFFFF)
        data.resize(length);
    buffer.append(list_size, length, data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World world;
    Input input{data, size};
    Buffer buffer{world, 4U + input.word() % 2048U};
    while (!input.empty()) {
        switch (input.byte() % 8) {
        case 0:
            buffer.initialise();
            break;
        case 1: {
            const std::uint16_t offset = input.word();
            const Bytes bytes = input.run();
            buffer.scribble(offset, bytes);
            break;
        }
        case 2:
            buffer.point(static_cast<std::int16_t>(input.word()));
            break;
        case 3:
            buffer.point_nowhere();
            break;
        case 4:
            buffer.send();
            break;
        default:
            append(input, buffer);
            break;
        }
    }
    return 0;
}
