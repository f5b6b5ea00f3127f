// SPDX-License-Identifier: MIT
#include "midi_service/alsa/midi_client.h"

#include "midi_service/annotated_mutex.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_message.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

/// Events that can wait to be read: the most that the kernel grants.
constexpr std::size_t input_pool_cells = 2000;

/// System-exclusive messages go out in pieces that fit every program's input.
constexpr std::size_t longest_piece = 256;

constexpr int forever = -1;
constexpr int retry_milliseconds = 100;

/// Makes room for a flood. The library can only read an event that fits its buffer as a whole, and
/// one event can be as large as all of the kernel's room.
int enlarge_input(snd_seq_t* sequencer) {
    if (const int result = snd_seq_set_client_pool_input(sequencer, input_pool_cells); result < 0)
        return result;
    return snd_seq_set_input_buffer_size(sequencer,
                                         (input_pool_cells + 1) * sizeof(snd_seq_event_t));
}

} // namespace

/// Reads what comes to the client from construction to destruction; nobody else does. It delivers
/// what comes along a route and drops the rest. Its public functions are for the calling thread.
class MidiClient::ReceiveThread {
public:
    /// Which source's messages go to which port of the service.
    struct Route {
        std::uint8_t own_port;
        Address source;
        MIDIPortRef port;
        MIDIEndpointRef reference;
    };

    explicit ReceiveThread(snd_seq_t* sequencer)
        : sequencer_(sequencer), stop_(eventfd(0, EFD_CLOEXEC)) {
        if (stop_ < 0)
            throw std::system_error(errno, std::generic_category(), "eventfd");
        thread_ = std::thread([this] { run(); });
    }
    ~ReceiveThread() {
        eventfd_write(stop_, 1);
        thread_.join();
        close(stop_);
    }
    ReceiveThread(const ReceiveThread&) = delete;
    ReceiveThread& operator=(const ReceiveThread&) = delete;

    /// Opens a route. It replaces one between the same two ports.
    void add(const Route& route) {
        const Lock lock{guard_};
        std::erase_if(routes_, [&](const Route& old) {
            return old.own_port == route.own_port && old.source == route.source;
        });
        routes_.push_back(route);
    }

    /// Closes a route; the result is the route that was there.
    std::optional<Route> remove(MIDIPortRef port, MIDIEndpointRef source) {
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

    void remove_port(MIDIPortRef port) {
        const Lock lock{guard_};
        std::erase_if(routes_, [port](const Route& route) { return route.port == port; });
    }

    [[nodiscard]] std::vector<Route> routes() const {
        const Lock lock{guard_};
        return routes_;
    }

private:
    void run() {
        std::array<pollfd, 2> files{};
        files[0] = {.fd = stop_, .events = POLLIN, .revents = 0};
        snd_seq_poll_descriptors(sequencer_, &files[1], 1, POLLIN);
        bool healthy = true;
        for (;;) {
            // While reading fails, wait a little between two attempts instead of taking a whole
            // core.
            const int ready = healthy ? poll(files.data(), 2, forever)
                                      : poll(files.data(), 1, retry_milliseconds);
            if (ready < 0)
                continue; // interrupted
            if (files[0].revents != 0)
                return;
            // One read at most, so that a flood cannot hide the stop request.
            const int result =
                read_events(sequencer_, [this](const snd_seq_event_t& event) { handle(event); });
            // ENOSPC: the kernel has dropped what was waiting and goes on with what comes next.
            healthy = result >= 0 || result == -EAGAIN || result == -EINTR || result == -ENOSPC;
        }
    }

    void handle(const snd_seq_event_t& event) {
        const auto along = route_of(event);
        if (!along)
            return;
        auto bytes = codec_.decode(event);
        while (!bytes.empty()) {
            // A piece of system-exclusive data is no whole message and goes as it is.
            const std::size_t whole = whole_message(bytes);
            const auto message = bytes.first(whole != 0 ? whole : bytes.size());
            const std::chrono::nanoseconds now =
                std::chrono::steady_clock::now().time_since_epoch();
            deliver(along->port, along->reference, static_cast<MIDITimeStamp>(now.count()),
                    message);
            bytes = bytes.subspan(message.size());
        }
    }

    std::optional<Route> route_of(const snd_seq_event_t& event) const {
        const Address source{event.source.client, event.source.port};
        const Lock lock{guard_};
        const auto found = std::ranges::find_if(routes_, [&](const Route& route) {
            return route.own_port == event.dest.port && route.source == source;
        });
        return found == routes_.end() ? std::nullopt : std::optional(*found);
    }

    snd_seq_t* sequencer_;
    int stop_; ///< an eventfd: readable when the thread has to end
    mutable Mutex guard_;
    std::vector<Route> routes_ GUARDED_BY(guard_);
    EventCodec codec_; ///< receive thread
    std::thread thread_;
};

MidiClient::MidiClient(std::string name) : name_(std::move(name)) {}

MidiClient::~MidiClient() = default;

int MidiClient::open() {
    Sequencer sequencer;
    if (const int result = open_sequencer(name_, sequencer); result < 0)
        return result;
    if (const int result = enlarge_input(sequencer.get()); result < 0)
        return result;
    for (auto& [reference, port] : ports_) {
        if (const int result = create(sequencer.get(), port); result < 0)
            return result;
    }
    try {
        receive_thread_ = std::make_unique<ReceiveThread>(sequencer.get());
    } catch (const std::system_error& error) {
        return -error.code().value();
    }
    sequencer_ = std::move(sequencer);
    return 0;
}

OSStatus MidiClient::add_port(MIDIPortRef reference, std::string name, bool is_input) {
    Port port{.name = std::move(name), .is_input = is_input};
    if (is_open()) {
        if (const int result = create(sequencer_.get(), port); result < 0)
            return to_status(result);
    }
    ports_.emplace(reference, std::move(port));
    return 0;
}

void MidiClient::remove_port(MIDIPortRef reference) {
    if (is_open()) {
        receive_thread_->remove_port(reference);
        // This ends the port's subscriptions, too.
        snd_seq_delete_simple_port(sequencer_.get(), ports_.at(reference).number);
    }
    ports_.erase(reference);
}

OSStatus MidiClient::connect(MIDIPortRef reference, MIDIEndpointRef source, Address address) {
    if (!is_open())
        return -ENODEV;
    const Port& port = ports_.at(reference);
    const int result = subscribe(sequencer_.get(), address, own_address(port));
    if (result >= 0)
        receive_thread_->add({port.number, address, reference, source});
    return to_status(result);
}

OSStatus MidiClient::disconnect(MIDIPortRef reference, MIDIEndpointRef source) {
    const auto route = is_open() ? receive_thread_->remove(reference, source) : std::nullopt;
    if (!route)
        return -ENODEV;
    return to_status(
        unsubscribe(sequencer_.get(), route->source, own_address(ports_.at(reference))));
}

bool MidiClient::is_set_to(MIDIPortRef reference, MIDIEndpointRef destination) const {
    return ports_.at(reference).destination == destination;
}

OSStatus MidiClient::send(MIDIPortRef reference, MIDIEndpointRef destination, Address address,
                          std::span<const std::uint8_t> messages) {
    if (!is_open())
        return -ENODEV;
    Port& port = ports_.at(reference);
    if (port.destination != destination) {
        if (const int result = switch_to(port, destination, address); result < 0)
            return to_status(result);
    }
    if (const int result = output_all(port, messages); result < 0) {
        // What could not be sent must not go out in front of what comes next.
        static_cast<void>(snd_seq_drop_output_buffer(sequencer_.get()));
        return to_status(result);
    }
    // If the destination is gone, so is the subscription, and nobody got the message. Checked after
    // sending, so as not to delay it.
    return is_subscribed(sequencer_.get(), own_address(port), address) ? 0 : -ENODEV;
}

std::vector<Address> MidiClient::lost_endpoints() const {
    std::vector<Address> lost;
    if (!is_open())
        return lost;
    for (const auto& route : receive_thread_->routes()) {
        if (!is_subscribed(sequencer_.get(), route.source, own_address(ports_.at(route.port))))
            lost.push_back(route.source);
    }
    for (const auto& [reference, port] : ports_) {
        if (port.destination != 0 &&
            !is_subscribed(sequencer_.get(), own_address(port), port.destination_address))
            lost.push_back(port.destination_address);
    }
    return lost;
}

int MidiClient::create(snd_seq_t* sequencer, Port& port) const {
    // Closed to others, so that no patch bay can wire another program into the protocol.
    const unsigned direction = port.is_input ? SND_SEQ_PORT_CAP_WRITE : SND_SEQ_PORT_CAP_READ;
    const int number = create_port(sequencer, port.name, direction | SND_SEQ_PORT_CAP_NO_EXPORT);
    if (number >= 0)
        port.number = static_cast<std::uint8_t>(number);
    return number;
}

Address MidiClient::own_address(const Port& port) const {
    return {static_cast<std::uint8_t>(snd_seq_client_id(sequencer_.get())), port.number};
}

int MidiClient::switch_to(Port& port, MIDIEndpointRef destination, Address address) {
    if (port.destination != 0)
        static_cast<void>(
            unsubscribe(sequencer_.get(), own_address(port), port.destination_address));
    port.destination = 0;
    // A hardware port is open only while somebody subscribes to it.
    const int result = subscribe(sequencer_.get(), own_address(port), address);
    if (result >= 0) {
        port.destination = destination;
        port.destination_address = address;
    }
    return result;
}

/// In one write, however many messages there are.
int MidiClient::output_all(const Port& port, std::span<const std::uint8_t> messages) {
    while (!messages.empty()) {
        auto message = messages.first(whole_message(messages));
        messages = messages.subspan(message.size());
        while (!message.empty()) {
            const auto piece = message.first(std::min(message.size(), longest_piece));
            if (const int result = output(port, piece); result < 0)
                return result;
            message = message.subspan(piece.size());
        }
    }
    return snd_seq_drain_output(sequencer_.get());
}

int MidiClient::output(const Port& port, std::span<const std::uint8_t> piece) {
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    snd_seq_ev_set_source(&event, port.number);
    // To subscribers, not to an address that another port may own by now.
    snd_seq_ev_set_subs(&event);
    snd_seq_ev_set_direct(&event);
    codec_.encode(piece, event);
    return snd_seq_event_output(sequencer_.get(), &event);
}
