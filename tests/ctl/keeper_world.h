// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/keeper.h"
#include "midi_service/embedded/embedded_backend.h"
#include "simulation/embedded_connection.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

/// The embedded service, with the news of a change used up by every call, as the sequencer does it:
/// who connects, sends or asks is not told any more of what had come by then.
class ForgetfulBackend final : public MidiBackend {
public:
    explicit ForgetfulBackend(EmbeddedBackend& service) : service_(service) {}

    /// Called in each call before the service answers, with the calls before it.
    std::function<void(std::size_t)> in_call{};
    std::size_t calls = 0;
    OSStatus refuse_sends = 0; ///< if not 0, what sends return, and nothing is sent
    /// Called with the destination of each send.
    std::function<void(MIDIEndpointRef)> before_send{};

    [[nodiscard]] OSStatus open_client(MIDIClientRef client, std::string_view name) override;
    void close_client(MIDIClientRef client) override;
    [[nodiscard]] OSStatus open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                                     bool is_input) override;
    void close_port(MIDIPortRef port) override;
    [[nodiscard]] OSStatus connect(MIDIPortRef port, MIDIEndpointRef source) override;
    [[nodiscard]] OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source) override;
    [[nodiscard]] std::span<const MIDIObjectRef> update(ObjectList list) override;
    [[nodiscard]] OSStatus text(MIDIObjectRef object, TextProperty property,
                                CFStringRef& value) override;
    [[nodiscard]] OSStatus offline(MIDIObjectRef object, std::int32_t& value) override;
    [[nodiscard]] OSStatus send(MIDIPortRef port, MIDIEndpointRef destination,
                                std::span<const std::uint8_t> messages) override;
    [[nodiscard]] int changes() const override { return service_.changes(); }

private:
    void begin_call();

    EmbeddedBackend& service_;
    std::set<std::pair<MIDIPortRef, MIDIEndpointRef>> first_sends_{};
};

/// A keeper, its machines, other programs that want to send to them, and a time that passes only
/// here. Machine `n` has the family's code n; several may have one code. Ports have numbers, and
/// the lowest free one is given to whoever comes.
class KeeperWorld final : public KeeperHost {
public:
    KeeperWorld();
    ~KeeperWorld() override;

    /// Plugs a new machine in; the result is its index.
    std::size_t add_machine(std::uint32_t number, MachineFaults faults = {});
    void plug(std::size_t index);
    void unplug(std::size_t index);
    [[nodiscard]] EmbeddedMachine& machine(std::size_t index) {
        return *machines_.at(index).device;
    }

    /// Another program takes the right to a port if nobody has it, and gives it up.
    void take_right(int port);
    void give_right_up(int port);

    /// Does something at a time, before the keeper does what is due then.
    void at(setup::Time time, std::function<void()> action) {
        events_.emplace(time, std::move(action));
    }
    /// Lets time pass, with the keeper working, until then. It is looked at only when it asked for
    /// that, was called, or has something to read.
    void run_until(setup::Time end);
    /// Runs until nothing is due any more and nobody has anything to do.
    void run_until_idle();

    [[nodiscard]] setup::Time now() const { return setup::Time{service.now()}; }
    /// Whether the machine has these mappings.
    [[nodiscard]] bool holds(std::size_t index,
                             const std::vector<protocol::KeyMapping>& mappings) const;
    /// Ports that the keeper has the right to.
    [[nodiscard]] std::size_t rights() const;

    EmbeddedBackend service{EmbeddedBackend::Time::manual};
    ForgetfulBackend backend{service};
    /// What the keeper told, such as "22 ms: 4AC0F4C4 2 of 2" or "0 ms: waits for 4AC0F4C4", and
    /// whether a mapping was sent without the right to (it must not be).
    std::vector<std::string> told{};
    bool has_trespassed = false;
    std::set<int> foreign{}; ///< ports that another program has the right to

private:
    class Right;
    struct Plugged {
        std::unique_ptr<EmbeddedMachine> device;
        std::uint32_t code;
        int port;
    };

    [[nodiscard]] std::vector<setup::Machine> machines() override;
    [[nodiscard]] std::unique_ptr<SendingRight> right_to(const setup::Target& target) override;
    void cannot_set(const setup::Choice& choice) override;
    void result(const ResultReport& result) override;
    void finished(const setup::Target& target, const JobSum& sum, std::int32_t status) override;

    void tell(const std::string& text);
    [[nodiscard]] int free_port() const;
    [[nodiscard]] std::optional<setup::PortAddress> address(MIDIEndpointRef endpoint) const;
    void check_right(MIDIEndpointRef destination);
    [[nodiscard]] bool is_woken() const;
    void wait(std::optional<setup::Time> due, setup::Time end);

    std::vector<Plugged> machines_{};
    std::map<int, const Right*> own_{}; ///< rights that the keeper has or waits for
    std::multimap<setup::Time, std::function<void()>> events_{};

public:
    std::unique_ptr<Keeper> keeper{}; ///< goes first
};
