// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_peer.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t longest_message = 65536;

int checked(int result, const char* what) {
    if (result < 0) {
        std::fprintf(stderr, "peer: %s: %s\n", what, snd_strerror(result));
        std::abort();
    }
    return result;
}

struct FreeCodec {
    void operator()(snd_midi_event_t* codec) const { snd_midi_event_free(codec); }
};
using Codec = std::unique_ptr<snd_midi_event_t, FreeCodec>;

Codec make_codec() {
    snd_midi_event_t* codec = nullptr;
    checked(snd_midi_event_new(longest_message, &codec), "codec");
    snd_midi_event_no_status(codec, 1);
    return Codec(codec);
}

} // namespace

AlsaPeer::AlsaPeer(const std::string& name, Receiver receiver, unsigned capabilities)
    : receiver_(std::move(receiver)), stop_(eventfd(0, EFD_CLOEXEC)) {
    checked(snd_seq_open(&sequencer_, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK), "open");
    checked(snd_seq_set_client_name(sequencer_, name.c_str()), "name");
    checked(snd_seq_set_client_pool_output(sequencer_, 2000), "output pool");
    checked(snd_seq_set_output_buffer_size(sequencer_, longest_message), "output buffer");
    add_port(name, capabilities);
    if (receiver_)
        thread_ = std::thread([this] { receive(); });
}

AlsaPeer::~AlsaPeer() {
    eventfd_write(stop_, 1);
    if (thread_.joinable())
        thread_.join();
    close(stop_);
    snd_seq_close(sequencer_);
}

void AlsaPeer::rename(const std::string& name) {
    checked(snd_seq_set_client_name(sequencer_, name.c_str()), "client name");
    rename_port(name);
}

void AlsaPeer::rename_port(const std::string& name) {
    snd_seq_port_info_t* info = nullptr;
    snd_seq_port_info_alloca(&info);
    checked(snd_seq_get_port_info(sequencer_, 0, info), "port info");
    snd_seq_port_info_set_name(info, name.c_str());
    checked(snd_seq_set_port_info(sequencer_, 0, info), "port name");
}

int AlsaPeer::add_port(const std::string& name, unsigned capabilities) {
    return checked(snd_seq_create_simple_port(sequencer_, name.c_str(), capabilities,
                                              SND_SEQ_PORT_TYPE_MIDI_GENERIC),
                   "port");
}

void AlsaPeer::remove_port(int port) {
    checked(snd_seq_delete_simple_port(sequencer_, port), "removal of a port");
}

void AlsaPeer::emit(std::span<const std::uint8_t> messages) {
    emit_events(messages, [](snd_seq_event_t& event) { snd_seq_ev_set_subs(&event); });
}

void AlsaPeer::emit_to(snd_seq_addr_t address, std::span<const std::uint8_t> messages) {
    emit_events(messages, [address](snd_seq_event_t& event) {
        snd_seq_ev_set_dest(&event, address.client, address.port);
    });
}

void AlsaPeer::send_event(snd_seq_event_t event, snd_seq_addr_t address) {
    snd_seq_ev_set_source(&event, 0);
    snd_seq_ev_set_dest(&event, address.client, address.port);
    snd_seq_ev_set_direct(&event);
    checked(snd_seq_event_output_direct(sequencer_, &event), "output");
}

void AlsaPeer::emit_events(std::span<const std::uint8_t> messages,
                           const std::function<void(snd_seq_event_t&)>& address) {
    const Codec codec = make_codec();
    while (!messages.empty()) {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        const long used = snd_midi_event_encode(codec.get(), messages.data(),
                                                static_cast<long>(messages.size()), &event);
        checked(static_cast<int>(used), "encoding");
        messages = messages.subspan(static_cast<std::size_t>(used));
        if (event.type == SND_SEQ_EVENT_NONE)
            continue;
        snd_seq_ev_set_source(&event, 0);
        snd_seq_ev_set_direct(&event);
        address(event);
        // A subscriber that is full loses the event, and the sender is told.
        const int result = snd_seq_event_output_direct(sequencer_, &event);
        if (result != -EAGAIN)
            checked(result, "output");
    }
}

void AlsaPeer::receive() {
    const Codec codec = make_codec();
    std::vector<std::uint8_t> bytes(longest_message);
    std::array<pollfd, 2> files{};
    files[0] = {.fd = stop_, .events = POLLIN, .revents = 0};
    snd_seq_poll_descriptors(sequencer_, &files[1], 1, POLLIN);
    for (;;) {
        poll(files.data(), files.size(), -1);
        if (files[0].revents != 0)
            return;
        snd_seq_event_t* event = nullptr;
        while (snd_seq_event_input(sequencer_, &event) >= 0) {
            const long length = snd_midi_event_decode(codec.get(), bytes.data(),
                                                      static_cast<long>(bytes.size()), event);
            if (length > 0)
                receiver_({bytes.data(), static_cast<std::size_t>(length)});
        }
    }
}
