// SPDX-License-Identifier: MIT
#include "tests/ctl/keeper_world.h"

#include "protocol/device_code.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <utility>

using setup::Time;
using std::chrono::milliseconds;

void ForgetfulBackend::begin_call() {
    if (in_call)
        in_call(calls);
    ++calls;
}

OSStatus ForgetfulBackend::open_client(MIDIClientRef client, std::string_view name) {
    return service_.open_client(client, name);
}

void ForgetfulBackend::close_client(MIDIClientRef client) {
    service_.close_client(client);
}

OSStatus ForgetfulBackend::open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                                     bool is_input) {
    begin_call();
    return service_.open_port(port, client, name, is_input);
}

void ForgetfulBackend::close_port(MIDIPortRef port) {
    begin_call();
    service_.close_port(port);
}

OSStatus ForgetfulBackend::connect(MIDIPortRef port, MIDIEndpointRef source) {
    begin_call();
    (void)service_.update(ObjectList::devices);
    return service_.connect(port, source);
}

OSStatus ForgetfulBackend::disconnect(MIDIPortRef port, MIDIEndpointRef source) {
    begin_call();
    return service_.disconnect(port, source);
}

std::span<const MIDIObjectRef> ForgetfulBackend::update(ObjectList list) {
    begin_call();
    return service_.update(list);
}

OSStatus ForgetfulBackend::text(MIDIObjectRef object, TextProperty property, CFStringRef& value) {
    begin_call();
    return service_.text(object, property, value);
}

OSStatus ForgetfulBackend::offline(MIDIObjectRef object, std::int32_t& value) {
    begin_call();
    (void)service_.update(ObjectList::devices);
    return service_.offline(object, value);
}

OSStatus ForgetfulBackend::send(MIDIPortRef port, MIDIEndpointRef destination,
                                std::span<const std::uint8_t> messages) {
    begin_call();
    // Before the first message to a destination only.
    if (first_sends_.insert({port, destination}).second)
        (void)service_.update(ObjectList::devices);
    before_send(destination);
    if (refuse_sends != 0)
        return refuse_sends;
    return service_.send(port, destination, messages);
}

/// As a lock of the operating system's: one for a port, whichever of two objects of a process gives
/// it up.
class KeeperWorld::Right final : public SendingRight {
public:
    Right(KeeperWorld& world, int port, std::string name)
        : world_(world), port_(port), name_(std::move(name)) {
        if (!world_.own_.emplace(port_, this).second)
            throw std::logic_error("two rights for one port");
    }
    ~Right() override { world_.own_.erase(port_); }
    Right(const Right&) = delete;
    Right& operator=(const Right&) = delete;

    [[nodiscard]] bool take() override {
        is_taken = !world_.foreign.contains(port_);
        if (!is_taken && !std::exchange(has_told_, true))
            world_.tell("waits for " + name_);
        return is_taken;
    }

    bool is_taken = false;

private:
    KeeperWorld& world_;
    const int port_;
    const std::string name_;
    bool has_told_ = false;
};

KeeperWorld::KeeperWorld() {
    install_midi_backend(&backend);
    backend.before_send = [this](MIDIEndpointRef destination) { check_right(destination); };
    keeper = std::make_unique<Keeper>(*this, [this] { return now(); });
}

KeeperWorld::~KeeperWorld() {
    backend.in_call = nullptr;
    keeper.reset();
    install_midi_backend(nullptr);
}

std::size_t KeeperWorld::add_machine(std::uint32_t number, MachineFaults faults) {
    const std::uint32_t code = protocol::family_code(number);
    const int port = free_port();
    machines_.push_back({.device = std::make_unique<EmbeddedMachine>(service, code, faults),
                         .code = code,
                         .port = port});
    return machines_.size() - 1;
}

void KeeperWorld::plug(std::size_t index) {
    Plugged& machine = machines_.at(index);
    if (machine.device->reference() != 0)
        return;
    machine.port = free_port();
    machine.device->plug();
}

void KeeperWorld::unplug(std::size_t index) {
    machines_.at(index).device->unplug();
}

void KeeperWorld::take_right(int port) {
    const auto own = own_.find(port);
    if (own == own_.end() || !own->second->is_taken)
        foreign.insert(port);
}

void KeeperWorld::give_right_up(int port) {
    if (foreign.erase(port) != 0)
        keeper->try_rights();
}

int KeeperWorld::free_port() const {
    int port = 0;
    const auto has_it = [&port](const Plugged& machine) {
        return machine.port == port && machine.device->reference() != 0;
    };
    while (std::ranges::any_of(machines_, has_it))
        ++port;
    return port;
}

std::optional<setup::PortAddress> KeeperWorld::address(MIDIEndpointRef endpoint) const {
    for (const Plugged& machine : machines_) {
        if (machine.device->reference() == endpoint)
            return setup::PortAddress{machine.port, 0};
    }
    return std::nullopt;
}

void KeeperWorld::check_right(MIDIEndpointRef destination) {
    const auto port = address(destination);
    if (!port)
        return; // it has gone, and nothing reaches it
    const auto own = own_.find(port->client);
    if (own == own_.end() || !own->second->is_taken)
        has_trespassed = true;
}

bool KeeperWorld::is_woken() const {
    std::array<pollfd, 2> polled = {
        {{.fd = keeper->inbox().descriptor(), .events = POLLIN, .revents = 0},
         {.fd = backend.changes(), .events = POLLIN, .revents = 0}}};
    if (poll(polled.data(), polled.size(), 0) <= 0)
        return false;
    if (polled[1].revents != 0)
        keeper->look_around();
    return true;
}

void KeeperWorld::wait(std::optional<Time> due, Time end) {
    // Echoes are stamped when they come, so a keeper that looks a little late sees the same.
    constexpr milliseconds piece{2};
    const Time until = std::min(due.value_or(end), end);
    while (now() < until && !is_woken()) {
        const auto rest = std::chrono::ceil<std::chrono::microseconds>(until - now());
        service.advance(due ? std::min<std::chrono::microseconds>(piece, rest) : rest);
    }
}

void KeeperWorld::run_until(Time end) {
    while (now() < end) {
        while (!events_.empty() && events_.begin()->first <= now())
            events_.extract(events_.begin()).mapped()();
        (void)is_woken();
        const auto due = keeper->step();
        wait(due, events_.empty() ? end : std::min(end, events_.begin()->first));
    }
}

void KeeperWorld::run_until_idle() {
    while (!events_.empty())
        run_until(events_.rbegin()->first + milliseconds(1));
    do {
        while (const auto due = keeper->step())
            wait(due, *due);
    } while (is_woken());
}

bool KeeperWorld::holds(std::size_t index,
                        const std::vector<protocol::KeyMapping>& mappings) const {
    const MappingTable table = machines_.at(index).device->table();
    return std::ranges::all_of(mappings, [&table](const protocol::KeyMapping& mapping) {
        const auto found = table.find(mapping);
        return found != table.end() && *found == mapping;
    });
}

std::vector<setup::Machine> KeeperWorld::machines() {
    return setup::list_settled_machines(
        [this](MIDIEndpointRef endpoint) { return address(endpoint); });
}

std::unique_ptr<SendingRight> KeeperWorld::right_to(const setup::Target& target) {
    // One that has gone since it was listed has no number.
    const setup::PortAddress none{-static_cast<int>(target.destination.reference), 0};
    return std::make_unique<Right>(*this, target.destination.address.value_or(none).client,
                                   protocol::code_text(target.code));
}

void KeeperWorld::tell(const std::string& text) {
    const auto at = std::chrono::duration_cast<milliseconds>(now().time_since_epoch());
    told.push_back(std::to_string(at.count()) + " ms: " + text);
}

void KeeperWorld::cannot_set(const setup::Choice& choice) {
    tell("cannot set " + protocol::code_text(choice.candidates.at(0).code));
}

void KeeperWorld::result(const ResultReport& result) {
    if (result.outcome.result == setup::Result::unconfirmed)
        tell(protocol::code_text(result.code) + " part " + std::to_string(result.mapping->part) +
             " is unconfirmed");
}

void KeeperWorld::finished(const setup::Target& target, const JobSum& sum, std::int32_t status) {
    std::string text = protocol::code_text(target.code) + " has " + std::to_string(sum.confirmed) +
                       " of " + std::to_string(sum.mappings);
    if (sum.not_sent != 0)
        text += ", " + std::to_string(sum.not_sent) + " not sent: " + std::strerror(-status);
    tell(text);
}

std::size_t KeeperWorld::rights() const {
    return own_.size();
}
