// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_service.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Who is there, and to which machine a command goes. All of it asks the MIDI service, on the
// calling thread.

namespace setup {

/// Where a port is: CLIENT:PORT, as every tool of the sequencer writes it.
struct PortAddress {
    int client = 0;
    int port = 0;
    bool operator==(const PortAddress&) const = default;
};

/// "24:0".
[[nodiscard]] std::string address_text(const PortAddress& address);
/// The other way round; nothing for any other text.
[[nodiscard]] std::optional<PortAddress> parse_address(std::string_view text);

/// Knows where a port is, which the service does not say; nothing for one that is gone.
using AddressOf = std::function<std::optional<PortAddress>(MIDIEndpointRef)>;

/// A source or a destination.
struct Endpoint {
    MIDIEndpointRef reference = 0;
    std::string name{};
    std::optional<PortAddress> address{};
    bool is_online = false;
};

/// A device, which only the window asks for.
struct Device {
    std::string name{};
    std::string model{};
};

/// Why a machine cannot be set up. The first that applies counts.
enum class Obstacle : std::uint8_t {
    none,
    no_machine,           ///< no port has its name
    no_destination,       ///< it can be heard, but there is no port to send to
    no_source,            ///< it can be sent to, but there is no port to hear its echo from
    several_destinations, ///< of the same name: two machines with one code
    several_sources,
    offline,          ///< the service says that one of its ports cannot be reached
    several_machines, ///< no code was given, and more than one machine of the family is there
    no_such_port,     ///< an address was given, and no port that can be written is there
    nothing_to_hear   ///< the port of that address cannot be read, and its client has no or several
                      ///< other ports that can
};

/// Everything whose name begins with the same eight digits.
struct Machine {
    std::uint32_t code = 0;
    std::vector<Endpoint> sources{};
    std::vector<Endpoint> destinations{};
    std::vector<Device> devices{}; ///< name begins with the digits; the model may not

    [[nodiscard]] bool is_in_family() const;
    /// Whether the window finds it: it wants a device whose name and model both begin with the
    /// digits.
    [[nodiscard]] bool has_agreeing_device() const;
    /// none, or one of no_destination to offline.
    [[nodiscard]] Obstacle obstacle() const;
};

/// All machines, in and outside the family, by ascending code. One pass over each of the three
/// lists; only ports of machines are asked for more than their names. A device alone is no machine.
[[nodiscard]] std::vector<Machine> list_machines(const AddressOf& address_of);

/// Calls `look`, and again until the ports are the same before and after it. For a program that
/// goes on to wait for changes: whatever comes or goes after the last look makes the service's
/// changes() readable. Not so after list_machines() or choose_port() alone, whose own questions may
/// use up the news of a change that their counts do not show yet.
void look_until_settled(const std::function<void()>& look);

/// What list_machines() gives in the last look of look_until_settled().
[[nodiscard]] std::vector<Machine> list_settled_machines(const AddressOf& address_of);

/// The two ends of a machine's line.
struct Target {
    std::uint32_t code = 0;
    Endpoint source{};
    Endpoint destination{};
};

/// What a search found: with no obstacle the target, else what stands in the way.
struct Choice {
    Obstacle obstacle = Obstacle::no_machine;
    Target target{};
    /// Machines that the search was about: the one with the obstacle, or the several.
    std::vector<Machine> candidates{};
};

/// The only machine of the family.
[[nodiscard]] Choice choose_only(const std::vector<Machine>& machines);
/// The machine with this code, of the family or not.
[[nodiscard]] Choice choose_code(const std::vector<Machine>& machines, std::uint32_t code);
/// Whatever can be written at this address, and heard at the same one, or else at the only port
/// of the same client that can be read.
[[nodiscard]] Choice choose_port(std::uint32_t code, const PortAddress& address,
                                 const AddressOf& address_of);

} // namespace setup
