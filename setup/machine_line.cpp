// SPDX-License-Identifier: MIT
#include "setup/machine_line.h"

#include <algorithm>
#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace setup {

namespace {

/// Messages that may wait in the box before it allocates memory.
constexpr std::size_t usual_length = 64;

/// One list has one packet with one message, or a piece of system-exclusive data.
void receive(const MIDIPacketList* list, void* inbox, void* line) {
    const MIDIPacket& packet = list->packet[0];
    static_cast<Inbox*>(inbox)->put(*static_cast<const MachineLine*>(line),
                                    std::span{packet.data}.first(packet.length));
}

int open_event() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    return descriptor;
}

} // namespace

Inbox::Inbox(Now now) : now_(std::move(now)), descriptor_(open_event()) {
    queue_.reserve(usual_length);
}

Inbox::~Inbox() {
    close(descriptor_);
}

void Inbox::take(std::vector<Heard>& into) {
    into.clear();
    const Lock lock{guard_};
    if (queue_.empty())
        return;
    std::swap(queue_, into);
    clear_signal();
}

void Inbox::put(const MachineLine& line, std::span<const std::uint8_t> bytes) {
    const Lock lock{guard_};
    // Stamped with the lock held: who takes what is in the box misses nothing with an older stamp.
    Heard heard{.line = &line, .at = now_(), .data = {}, .length = 0};
    const auto kept = bytes.first(std::min(bytes.size(), heard.data.size()));
    std::ranges::copy(kept, heard.data.begin());
    heard.length = static_cast<std::uint8_t>(kept.size());
    if (queue_.empty())
        (void)eventfd_write(descriptor_, 1);
    queue_.push_back(heard);
}

void Inbox::forget(const MachineLine& line) {
    const Lock lock{guard_};
    const auto of_line = [&line](const Heard& heard) { return heard.line == &line; };
    if (std::erase_if(queue_, of_line) != 0 && queue_.empty())
        clear_signal();
}

void Inbox::clear_signal() {
    eventfd_t signals = 0;
    (void)eventfd_read(descriptor_, &signals);
}

Client::Client(CFStringRef name, Now now)
    : inbox_(std::move(now)), status_(MIDIClientCreate(name, nullptr, nullptr, &client_)) {
    if (status_ == 0)
        status_ = MIDIInputPortCreate(client_, CFSTR("Input port"), receive, &inbox_, &input_);
}

Client::~Client() {
    if (client_ != 0)
        (void)MIDIClientDispose(client_);
}

MachineLine::MachineLine(Client& client, Target target)
    : client_(client), target_(std::move(target)), status_(client.status()) {
    if (status_ == 0)
        status_ = MIDIOutputPortCreate(client.client_, CFSTR("Output port"), &output_);
    if (status_ == 0)
        status_ = MIDIPortConnectSource(client.input_, target_.source.reference, this);
}

MachineLine::~MachineLine() {
    // Fails when the source has gone, which is as well. A source that this line did not connect may
    // be another line's.
    if (status_ == 0)
        (void)MIDIPortDisconnectSource(client_.input_, target_.source.reference);
    if (output_ != 0)
        (void)MIDIPortDispose(output_);
    client_.inbox_.forget(*this);
}

OSStatus MachineLine::send(std::span<const std::uint8_t> messages) {
    if (status_ != 0)
        return status_;
    MIDIPacketList list;
    MIDIPacket* const packet = MIDIPacketListInit(&list);
    if (!MIDIPacketListAdd(&list, sizeof list, packet, 0, messages.size(), messages.data()))
        return -EMSGSIZE;
    return MIDISend(output_, target_.destination.reference, &list);
}

} // namespace setup
