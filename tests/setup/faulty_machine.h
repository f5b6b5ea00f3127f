// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"
#include "setup/runner.h"
#include "simulation/firmware.h"
#include "tests/support/sequence.h"

#include <functional>
#include <random>
#include <vector>

/// How often a machine's sequences go wrong, in per cent.
struct FaultRates {
    unsigned spoiled = 0;   ///< the echo is missing, late or wrong, or comes among other messages
    unsigned vanishing = 0; ///< in hundredths of a per cent: the machine goes in the middle
    bool silent = false;    ///< none is answered
};

/// The faults of one machine: those of its n-th sequence, counted from 0, each drawn from the seed.
class FaultPlan {
public:
    FaultPlan(unsigned seed, FaultRates rates) : random_(seed), rates_(rates) {}
    [[nodiscard]] const MachineFaults& of(std::size_t sequence);

private:
    [[nodiscard]] MachineFaults draw();
    [[nodiscard]] unsigned below(unsigned end);

    std::mt19937 random_;
    FaultRates rates_;
    std::vector<MachineFaults> drawn_{};
};

/// A machine on an embedded service in manual time that does with each sequence what its plan says.
/// One that vanishes does not come back.
class FaultyMachine {
public:
    /// `on_emission` is told when each message that the machine sends arrives. The service has to
    /// outlive the machine.
    FaultyMachine(EmbeddedBackend& service, FaultPlan plan,
                  std::function<void(std::chrono::microseconds)> on_emission);
    ~FaultyMachine() { service_.detach(reference_); }
    FaultyMachine(const FaultyMachine&) = delete;
    FaultyMachine& operator=(const FaultyMachine&) = delete;

    [[nodiscard]] MIDIObjectRef reference() const { return reference_; }
    [[nodiscard]] const MappingTable& table() const { return firmware_.table(); }
    [[nodiscard]] const Bytes& received() const { return received_; }

private:
    void begin(const MachineFaults& faults);
    void receive(std::span<const std::uint8_t> messages);

    EmbeddedBackend& service_;
    FaultPlan plan_;
    std::function<void(std::chrono::microseconds)> on_emission_;
    Firmware firmware_{};
    bool was_faulty_ = false;
    Bytes received_{};
    MIDIObjectRef reference_;
};

/// What becomes of a list of messages that go to one machine by itself, worked out from its plan:
/// without a wait that is late and with sends that take no time.
struct ExpectedCourse {
    ExpectedCourse(FaultPlan plan, const std::vector<protocol::Message>& messages);

    std::vector<setup::Outcome> outcomes{}; ///< without `instead`
    MappingTable table{};
    Bytes received{};

private:
    using Milliseconds = std::chrono::milliseconds;

    /// What is known of one message while its attempts are followed.
    struct Course {
        protocol::Message message;
        setup::Time start;
        std::vector<setup::Time> echoes{}; ///< when the right ones arrive
        bool was_sent = false;
        setup::Outcome outcome{};
    };

    void follow(const protocol::Message& message);
    [[nodiscard]] bool attempt(Course& course, setup::Time begun);
    [[nodiscard]] bool reach(Course& course, setup::Time begun, const MachineFaults& faults);
    [[nodiscard]] static bool fail(Course& course, setup::Time at);

    FaultPlan plan_;
    std::size_t sequences_ = 0; ///< that reached the machine
    bool has_vanished_ = false;
    bool is_known_to_be_gone_ = false;
    setup::Time now_{};
};
