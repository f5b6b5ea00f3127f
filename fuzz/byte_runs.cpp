// SPDX-License-Identifier: MIT
// What a source sends, cut anywhere, into messages: by the reader itself, and on the way through
// the embedded service to a read callback.
#include "fuzz/midi_model.h"
#include "midi_service/embedded/embedded_backend.h"
#include "midi_service/midi_message.h"
#include "midi_service/midi_service.h"

#include <utility>

namespace {

using Messages = std::vector<Bytes>;

/// The reader as its description has it.
class Model {
public:
    void read(std::uint8_t byte) {
        if (byte >= 0xF8) {
            if (data_bytes(byte))
                messages.push_back({byte});
            return;
        }
        if (byte < 0x80)
            read_data(byte);
        else if (byte == 0xF7 && exclusive_)
            end_exclusive();
        else
            open(byte);
    }

    Messages messages{};

private:
    void open(std::uint8_t status) {
        exclusive_ = status == 0xF0;
        message_ = {status};
        missing_ = data_bytes(status).value_or(0);
        running_ = status < 0xF0 ? status : 0;
        if (data_bytes(status) == 0)
            messages.push_back(message_);
    }

    void read_data(std::uint8_t byte) {
        if (exclusive_) {
            message_.push_back(byte);
            if (message_.size() == 256)
                messages.push_back(std::exchange(message_, {}));
            return;
        }
        if (missing_ == 0 && running_ != 0) {
            message_ = {running_};
            missing_ = *data_bytes(running_);
        }
        if (missing_ == 0)
            return;
        message_.push_back(byte);
        if (--missing_ == 0)
            messages.push_back(message_);
    }

    void end_exclusive() {
        exclusive_ = false;
        message_.push_back(0xF7);
        messages.push_back(message_);
    }

    Bytes message_{};
    std::size_t missing_ = 0;
    std::uint8_t running_ = 0;
    bool exclusive_ = false;
};

/// A source, and a port that it is connected to.
class World {
public:
    World() {
        install_midi_backend(&backend_);
        MIDIClientCreate(CFSTR("client"), nullptr, nullptr, &client_);
        MIDIInputPortCreate(client_, CFSTR("port"), &World::read, this, &port_);
    }
    ~World() { install_midi_backend(nullptr); }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// What arrives of the runs that a source sends.
    Messages received_of(const std::vector<Bytes>& runs) {
        received_.clear();
        const MIDIObjectRef source = backend_.attach({.name = "source"});
        require(MIDIPortConnectSource(port_, source, nullptr) == 0, "the source is connected");
        for (const Bytes& run : runs)
            backend_.emit(source, run, std::chrono::microseconds{0});
        backend_.advance(std::chrono::microseconds{0});
        backend_.detach(source);
        return std::exchange(received_, {});
    }

private:
    static void read(const MIDIPacketList* list, void* context, void*) {
        require(list->numPackets == 1, "each message is a packet of its own");
        const MIDIPacket& packet = list->packet[0];
        require(packet.length <= sizeof packet.data, "in pieces that a packet declares");
        static_cast<World*>(context)->received_.emplace_back(packet.data,
                                                             packet.data + packet.length);
    }

    EmbeddedBackend backend_{EmbeddedBackend::Time::manual};
    MIDIClientRef client_ = 0;
    MIDIPortRef port_ = 0;
    Messages received_{};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World world;
    Input input{data, size};
    std::vector<Bytes> runs;
    while (!input.empty())
        runs.push_back(input.run());
    Model model;
    MessageReader reader;
    Messages read;
    for (const Bytes& run : runs) {
        for (const std::uint8_t byte : run) {
            model.read(byte);
            const auto message = reader.read(byte);
            if (!message.empty())
                read.emplace_back(message.begin(), message.end());
        }
        require((whole_message(run) != 0) ==
                    are_whole_messages(std::span{run}.first(whole_message(run))),
                "what starts with a whole message is cut at its end");
    }
    require(read == model.messages, "the reader finds the messages");
    require(world.received_of(runs) == model.messages, "the callback gets the messages");
    return 0;
}
