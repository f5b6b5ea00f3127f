// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/endpoint_list.h"
#include "midi_service/alsa/sequencer.h"

/// Keeps a list of endpoints current by what the sequencer announces: ports that start, change and
/// go. The announcements have a client of their own and are read in follow() alone, so that nothing
/// wakes the program up and no flood of MIDI can push one out. Screen thread.
class Announcements {
public:
    /// Joins the sequencer. 0 or a negative errno.
    [[nodiscard]] int open();
    [[nodiscard]] bool is_open() const { return sequencer_ != nullptr; }

    /// Reads every port anew.
    void read_all(EndpointList& endpoints);
    /// Applies what was announced since the last call: one system call, and one for each port that
    /// started or changed. False when announcements were lost.
    [[nodiscard]] bool follow(EndpointList& endpoints);
    /// Asks for one port anew.
    void refresh(EndpointList& endpoints, Address address);

    /// Readable when something was announced that follow() has not read; -1 before open().
    [[nodiscard]] int descriptor() const;
    /// For other questions to the sequencer.
    [[nodiscard]] snd_seq_t* sequencer() const { return sequencer_.get(); }

private:
    void apply(EndpointList& endpoints, const snd_seq_event_t& event);

    Sequencer sequencer_;
};
