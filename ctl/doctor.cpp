// SPDX-License-Identifier: MIT
#include "ctl/doctor.h"

#include "ctl/choosing.h"
#include "ctl/commands.h"
#include "ctl/port_lock.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <algorithm>

namespace {

using Level = Finding::Level;

std::string counted(std::uint64_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

class Doctor {
public:
    Doctor(const MidiSystem& system, const std::optional<MachineChoice>& wanted)
        : system_(system), wanted_(wanted) {}

    Diagnosis examine() {
        const std::vector<setup::Machine> machines = machines_of(system_);
        if (!examine_sequencer())
            return std::move(diagnosis_);
        examine_ports();
        if (wanted_ && wanted_->port)
            examine_port();
        else
            examine_machines(machines);
        examine_programs();
        return std::move(diagnosis_);
    }

private:
    void find(Level level, std::string subject, std::string text, std::string remedy = {}) {
        diagnosis_.findings.push_back(
            {level, std::move(subject), std::move(text), std::move(remedy)});
    }

    bool examine_sequencer() {
        if (system_.is_demo()) {
            find(Level::note, "demo",
                 "these machines are simulated; no sequencer and no real machine is looked at",
                 "leave --demo out to look at this computer");
            return true;
        }
        if (const auto trouble = system_.trouble()) {
            find(Level::problem, "sequencer", trouble->sentence, trouble->remedy);
            diagnosis_.has_sequencer = false;
            return false;
        }
        find(Level::ok, "sequencer", "/dev/snd/seq is there, has its driver, and you may use it");
        constexpr int few = 4;
        if (const auto places = system_.places_left()) {
            const bool are_few = *places < few;
            find(are_few ? Level::note : Level::ok, "sequencer",
                 counted(static_cast<std::uint64_t>(*places), "place") + " for programs left",
                 are_few ? "close programs that use MIDI before there is none" : "");
        }
        return true;
    }

    void examine_ports() {
        find(Level::ok, "ports",
             counted(MIDIGetNumberOfSources(), "port") + " can be heard, " +
                 counted(MIDIGetNumberOfDestinations(), "port") + " can be sent to");
    }

    void examine_port() {
        const setup::Choice choice = choose(system_, {}, wanted_);
        const std::string subject = setup::address_text(*wanted_->port);
        diagnosis_.can_set_up = choice.obstacle == setup::Obstacle::none;
        if (diagnosis_.can_set_up) {
            find(Level::ok, subject,
                 quoted(choice.target.destination.name) + " can be sent to, and " +
                     quoted(choice.target.source.name) + " at " +
                     address_or_mark(choice.target.source) + " can be heard");
            examine_connections(subject, choice.target.source);
        } else {
            find(Level::problem, subject, obstacle_text(choice.obstacle),
                 "look for the port with \"aconnect -l\"");
        }
    }

    void examine_machines(const std::vector<setup::Machine>& machines) {
        std::vector<std::string> family;
        for (const setup::Machine& machine : machines) {
            if (machine.is_in_family())
                family.push_back(protocol::code_text(machine.code));
            if (!wanted_ || machine.code == wanted_->code)
                examine_machine(machine);
        }
        const bool is_missing = wanted_ ? std::ranges::find(machines, wanted_->code,
                                                            &setup::Machine::code) == machines.end()
                                        : family.empty();
        if (is_missing)
            say_missing(machines);
        if (family.size() > 1)
            find(Level::note, "window",
                 "several machines are there (" + joined(family) +
                     "), and keyloft's window sets up a machine only while it is alone",
                 "use keyloftctl with -m, or leave one machine attached");
    }

    void say_missing(const std::vector<setup::Machine>& machines) {
        const std::string remedy =
            "plug the machine in and switch it on, try another cable and socket; for a port with "
            "another name, such as one behind a merge box, use -m CODE@CLIENT:PORT";
        if (wanted_)
            find(Level::problem, protocol::code_text(wanted_->code),
                 "no port has a name that begins with this code", remedy);
        else if (machines.empty())
            find(Level::problem, "machines",
                 "no port has a name that begins with eight hexadecimal digits", remedy);
        else
            find(Level::problem, "machines", "none of these is of the family", remedy);
    }

    void examine_machine(const setup::Machine& machine) {
        const std::string subject = protocol::code_text(machine.code);
        const setup::Obstacle obstacle = machine.obstacle();
        if (obstacle != setup::Obstacle::none) {
            find(Level::problem, subject, obstacle_text(obstacle) + ports_text(machine),
                 remedy_for(obstacle, machine));
        } else if (machine.is_in_family() || wanted_) {
            find(Level::ok, subject, "can be set up" + ports_text(machine));
            diagnosis_.can_set_up = true;
        } else {
            find(Level::note, subject, "is no machine of the family" + ports_text(machine),
                 "if it is one all the same, use keyloftctl with -m " + subject);
        }
        if (machine.is_in_family() && obstacle == setup::Obstacle::none)
            examine_device(machine);
        for (const setup::Endpoint& source : machine.sources)
            examine_connections(subject, source);
    }

    [[nodiscard]] static std::string ports_text(const setup::Machine& machine) {
        const std::vector<std::string> heard = addresses(machine.sources);
        const std::vector<std::string> sent_to = addresses(machine.destinations);
        if (heard == sent_to)
            return " (" + joined(sent_to) + ")";
        const auto or_none = [](const std::vector<std::string>& texts) {
            return texts.empty() ? std::string("none") : joined(texts);
        };
        return " (sent to: " + or_none(sent_to) + "; heard: " + or_none(heard) + ")";
    }

    [[nodiscard]] static std::string remedy_for(setup::Obstacle obstacle,
                                                const setup::Machine& machine) {
        switch (obstacle) {
        case setup::Obstacle::several_destinations:
        case setup::Obstacle::several_sources:
            return "leave one of them attached, or name the port to send to, such as -m " +
                   protocol::code_text(machine.code) + "@" +
                   (machine.destinations.empty() ? "CLIENT:PORT"
                                                 : address_or_mark(machine.destinations.front()));
        case setup::Obstacle::offline:
            return "switch the machine off and on";
        default:
            return "unplug the machine and plug it in again; if its other port has another name, "
                   "use -m " +
                   protocol::code_text(machine.code) + "@CLIENT:PORT";
        }
    }

    /// The window looks at the device as well as at the ports.
    void examine_device(const setup::Machine& machine) {
        if (machine.has_agreeing_device())
            return;
        const std::string code = protocol::code_text(machine.code);
        std::string text = "keyloft's window refuses it: ";
        if (machine.devices.empty())
            text += "no device has a name that begins with " + code;
        else
            text += "its device is called " + quoted(machine.devices.front().name) +
                    " and its model " + quoted(machine.devices.front().model) +
                    ", which do not both begin with " + code;
        find(Level::note, code, text, "use keyloftctl, which looks at the ports alone");
    }

    void examine_connections(const std::string& subject, const setup::Endpoint& source) {
        const Connections connections = system_.connections(source.reference);
        for (const OtherClient& client : connections.readers)
            find(Level::note, subject, client_text(client) + " hears what it sends");
        for (const OtherClient& client : connections.writers)
            find(Level::note, subject, client_text(client) + " can send to it",
                 "if settings fail now and then, end that connection");
    }

    void examine_programs() {
        for (const OtherClient& client : system_.other_clients()) {
            const std::string who = "is running (process " + std::to_string(client.pid) + ")";
            if (is_window(client))
                find(Level::note, "keyloft", who,
                     "do not set anything there while keyloftctl does");
            else if (client.pid > 0 && client.name == "keyloftctl")
                find(Level::note, "keyloftctl", "another one " + who);
        }
        if (!system_.is_demo() && !lock_folder())
            find(Level::note, "lock",
                 "XDG_RUNTIME_DIR is not set, so nothing keeps two keyloftctl from sending to one "
                 "machine at the same time",
                 "log in by way of the desktop or ssh instead of \"su\"");
    }

    const MidiSystem& system_;
    const std::optional<MachineChoice>& wanted_;
    Diagnosis diagnosis_;
};

} // namespace

Diagnosis diagnose(const MidiSystem& system, const std::optional<MachineChoice>& wanted) {
    return Doctor(system, wanted).examine();
}

ExitStatus run_doctor(const Request& request, Workplace& place) {
    const Diagnosis diagnosis = diagnose(place.system, request.machine);
    for (const Finding& finding : diagnosis.findings)
        place.report.finding(finding);
    if (!diagnosis.has_sequencer)
        return ExitStatus::no_sequencer;
    return diagnosis.can_set_up ? ExitStatus::done : ExitStatus::no_machine;
}
