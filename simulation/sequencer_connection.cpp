// SPDX-License-Identifier: MIT
#include "simulation/sequencer_connection.h"

#include <cerrno>
#include <system_error>

#include <grp.h>
#include <poll.h>
#include <sys/stat.h>

namespace {

constexpr const char* node = "/dev/snd/seq";

/// alsa-lib's own lines on standard error would only say less than ours.
void say_nothing(const char*, int, const char*, int, const char*, ...) {}

/// The group that may open the sequencer; the usual one when the node does not tell.
std::string group_of_the_node() {
    struct stat status {};
    group owner{};
    group* found = nullptr;
    std::array<char, 1024> buffer{};
    if (stat(node, &status) == 0)
        getgrgid_r(status.st_gid, &owner, buffer.data(), buffer.size(), &found);
    return found != nullptr ? found->gr_name : "audio";
}

[[noreturn]] void fail(int error) {
    switch (error) {
    case ENOENT:
        throw MachineError(
            "This computer has no ALSA sequencer (there is no /dev/snd/seq): load it "
            "with \"sudo modprobe snd-seq\".");
    case ENXIO:
    case ENODEV:
        throw MachineError("The driver of the ALSA sequencer is not loaded (/dev/snd/seq leads "
                           "nowhere): load it with \"sudo modprobe snd-seq\".");
    case EACCES:
    case EPERM:
        throw MachineError("This user may not open the ALSA sequencer: join the group \"" +
                           group_of_the_node() + "\", which owns /dev/snd/seq, and log in again.");
    case ENOMEM:
        throw MachineError("The ALSA sequencer has no client left: end a program that uses MIDI.");
    default:
        throw MachineError(std::string("The ALSA sequencer does not work: ") +
                           std::generic_category().message(error) +
                           ". See \"journalctl -k\" for what the kernel says about it.");
    }
}

void check(int result) {
    if (result < 0)
        fail(-result);
}

} // namespace

SequencerMachine::SequencerMachine(std::uint32_t code, MachineFaults faults,
                                   MachineWatcher& watcher)
    : ConnectedMachine(code, faults, watcher, std::chrono::milliseconds(0)) {
    SequencerMachine::plug();
}

std::string SequencerMachine::place() const {
    return "client " + std::to_string(snd_seq_client_id(sequencer_.get())) + " of the sequencer";
}

int SequencerMachine::descriptor() const {
    pollfd polled{.fd = -1, .events = 0, .revents = 0};
    if (sequencer_)
        snd_seq_poll_descriptors(sequencer_.get(), &polled, 1, POLLIN);
    return polled.fd;
}

void SequencerMachine::plug() {
    snd_lib_error_set_handler(say_nothing);
    snd_seq_t* opened = nullptr;
    check(snd_seq_open(&opened, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK));
    sequencer_.reset(opened);
    check(snd_seq_set_client_name(opened, name().c_str()));
    constexpr unsigned ways = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ |
                              SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE |
                              SND_SEQ_PORT_CAP_DUPLEX;
    port_ =
        snd_seq_create_simple_port(opened, (name() + " MIDI 1").c_str(), ways,
                                   SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    check(port_);
}

void SequencerMachine::pull() {
    sequencer_.reset();
}

void SequencerMachine::read() {
    int left = 1;
    while (left > 0 && sequencer_) {
        snd_seq_event_t* event = nullptr;
        left = snd_seq_event_input(sequencer_.get(), &event);
        // Too much came at once (ENOSPC): what is lost is lost, as on a cable.
        if (left == -EAGAIN || left == -ENOSPC)
            return;
        check(left);
        const auto bytes = codec_.bytes(*event);
        if (!bytes.empty())
            take(bytes);
    }
}

void SequencerMachine::write(std::span<const std::uint8_t> message) {
    snd_seq_event_t event = codec_.event(message);
    snd_seq_ev_set_source(&event, static_cast<unsigned char>(port_));
    snd_seq_ev_set_subs(&event);
    snd_seq_ev_set_direct(&event);
    // A reply that cannot be delivered is lost, as on a cable.
    (void)snd_seq_event_output_direct(sequencer_.get(), &event);
}
