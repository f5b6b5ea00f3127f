// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <algorithm>

namespace {

template<typename Predicate>
bool find_port(const AlsaPeer& looker, Predicate is_wanted, snd_seq_port_info_t* port) {
    snd_seq_client_info_t* client = nullptr;
    snd_seq_client_info_alloca(&client);
    snd_seq_client_info_set_client(client, -1);
    while (snd_seq_query_next_client(looker.sequencer(), client) >= 0) {
        snd_seq_port_info_set_client(port, snd_seq_client_info_get_client(client));
        snd_seq_port_info_set_port(port, -1);
        while (snd_seq_query_next_port(looker.sequencer(), port) >= 0) {
            if (is_wanted(port))
                return true;
        }
    }
    return false;
}

} // namespace

AlsaService::AlsaService() {
    install_midi_backend(&backend_);
    EXPECT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client_), 0);
    EXPECT_EQ(MIDIOutputPortCreate(client_, CFSTR("Output port"), &out_), 0);
    EXPECT_EQ(MIDIInputPortCreate(client_, CFSTR("Input port"), read, this, &in_), 0);
}

AlsaService::~AlsaService() {
    hold_callbacks(false);
    install_midi_backend(nullptr);
}

Bytes AlsaService::wait_for_bytes(std::size_t count) {
    std::unique_lock lock{guard_};
    EXPECT_TRUE(
        changed_.wait_for(lock, std::chrono::seconds{20}, [&] { return bytes_.size() >= count; }))
        << "only " << bytes_.size() << " of " << count << " bytes came";
    return bytes_;
}

bool AlsaService::arrives(std::uint8_t byte, std::chrono::milliseconds within) {
    std::unique_lock lock{guard_};
    return changed_.wait_for(lock, within, [&] { return std::ranges::count(bytes_, byte) > 0; });
}

void AlsaService::hold_callbacks(bool hold) {
    const std::lock_guard lock{guard_};
    held_ = hold;
    changed_.notify_all();
}

void AlsaService::read(const MIDIPacketList* list, void* test, void*) {
    auto& self = *static_cast<AlsaService*>(test);
    std::unique_lock lock{self.guard_};
    self.changed_.wait(lock, [&] { return !self.held_; });
    const MIDIPacket& packet = list->packet[0];
    self.bytes_.insert(self.bytes_.end(), packet.data, packet.data + packet.length);
    self.changed_.notify_all();
}

snd_seq_addr_t AlsaService::address_of(const AlsaPeer& looker, std::string_view name) {
    snd_seq_port_info_t* port = nullptr;
    snd_seq_port_info_alloca(&port);
    EXPECT_TRUE(find_port(
        looker, [name](auto* found) { return snd_seq_port_info_get_name(found) == name; }, port));
    return *snd_seq_port_info_get_addr(port);
}

unsigned AlsaService::capabilities_of(const AlsaPeer& looker, snd_seq_addr_t address) {
    snd_seq_port_info_t* port = nullptr;
    snd_seq_port_info_alloca(&port);
    EXPECT_EQ(snd_seq_get_any_port_info(looker.sequencer(), address.client, address.port, port), 0);
    return snd_seq_port_info_get_capability(port);
}

int AlsaService::writers_of(const AlsaPeer& peer) {
    snd_seq_port_info_t* port = nullptr;
    snd_seq_port_info_alloca(&port);
    EXPECT_EQ(snd_seq_get_port_info(peer.sequencer(), 0, port), 0);
    return snd_seq_port_info_get_write_use(port);
}
