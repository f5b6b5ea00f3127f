// SPDX-License-Identifier: MIT
#include "midi_service/alsa/receive_thread.h"

#include "midi_service/midi_backend.h"
#include "midi_service/midi_message.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr int forever = -1;
constexpr int retry_milliseconds = 100;

MIDITimeStamp now() {
    using namespace std::chrono;
    const auto time = steady_clock::now().time_since_epoch();
    return static_cast<MIDITimeStamp>(duration_cast<nanoseconds>(time).count());
}

} // namespace

ReceiveThread::ReceiveThread(snd_seq_t* sequencer)
    : sequencer_(sequencer), stop_(eventfd(0, EFD_CLOEXEC)) {
    if (stop_ < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    thread_ = std::thread([this] { run(); });
}

ReceiveThread::~ReceiveThread() {
    eventfd_write(stop_, 1);
    thread_.join();
    close(stop_);
}

void ReceiveThread::add(const Route& route) {
    const Lock lock{guard_};
    std::erase_if(routes_, [&](const Route& old) {
        return old.own_port == route.own_port && old.source == route.source;
    });
    routes_.push_back(route);
}

std::optional<Route> ReceiveThread::remove(MIDIPortRef port, MIDIEndpointRef source) {
    const Lock lock{guard_};
    const auto found = std::ranges::find_if(routes_, [&](const Route& route) {
        return route.port == port && route.reference == source;
    });
    if (found == routes_.end())
        return std::nullopt;
    const Route removed = *found;
    routes_.erase(found);
    return removed;
}

void ReceiveThread::remove_port(MIDIPortRef port) {
    const Lock lock{guard_};
    std::erase_if(routes_, [port](const Route& route) { return route.port == port; });
}

std::vector<Route> ReceiveThread::routes() const {
    const Lock lock{guard_};
    return routes_;
}

void ReceiveThread::run() {
    std::array<pollfd, 2> files{};
    files[0] = {.fd = stop_, .events = POLLIN, .revents = 0};
    snd_seq_poll_descriptors(sequencer_, &files[1], 1, POLLIN);
    bool healthy = true;
    for (;;) {
        // While reading fails, wait a little between two attempts instead of taking a whole core.
        const int ready =
            healthy ? poll(files.data(), 2, forever) : poll(files.data(), 1, retry_milliseconds);
        if (ready < 0)
            continue; // interrupted
        if (files[0].revents != 0)
            return;
        const int result = read_events();
        // ENOSPC: the kernel has dropped what was waiting and goes on with what comes next.
        healthy = result >= 0 || result == -EAGAIN || result == -EINTR || result == -ENOSPC;
    }
}

int ReceiveThread::read_events() {
    // Drain one read at most, so that a flood cannot hide the stop request.
    do {
        snd_seq_event_t* event = nullptr;
        const int result = snd_seq_event_input(sequencer_, &event);
        if (result < 0)
            return result;
        handle(*event);
    } while (snd_seq_event_input_pending(sequencer_, 0) > 0);
    return 0;
}

void ReceiveThread::handle(const snd_seq_event_t& event) {
    const Address source{event.source.client, event.source.port};
    std::optional<Route> along;
    {
        const Lock lock{guard_};
        const auto route = std::ranges::find_if(routes_, [&](const Route& candidate) {
            return candidate.own_port == event.dest.port && candidate.source == source;
        });
        if (route != routes_.end())
            along = *route;
    }
    if (!along)
        return;
    auto bytes = codec_.decode(event);
    while (!bytes.empty()) {
        // A piece of system-exclusive data is no whole message and goes as it is.
        const std::size_t whole = whole_message(bytes);
        const auto message = bytes.first(whole != 0 ? whole : bytes.size());
        deliver(along->port, along->reference, now(), message);
        bytes = bytes.subspan(message.size());
    }
}
