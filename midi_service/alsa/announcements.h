// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/endpoint_list.h"
#include "midi_service/alsa/sequencer.h"

/// Keeps a list of endpoints current by the sequencer's announcements of ports that start, change
/// and go. They have a client of their own: no flood of MIDI can push one out, and nothing wakes
/// the program up until it calls follow(). Calling thread.
class Announcements {
public:
    /// Joins the sequencer. 0 or a negative errno.
    [[nodiscard]] int open();
    [[nodiscard]] bool is_open() const { return sequencer_ != nullptr; }

    void read_all(EndpointList& endpoints);
    /// Applies what was announced since the last call. It takes one system call, and one more for
    /// each port that started or changed. False: announcements were lost, read_all() is due.
    [[nodiscard]] bool follow(EndpointList& endpoints);
    /// Asks the sequencer about one port.
    void refresh(EndpointList& endpoints, Address address);

    /// Readable when something was announced that follow() has not read; -1 before open().
    [[nodiscard]] int descriptor() const;
    /// For other questions to the sequencer.
    [[nodiscard]] snd_seq_t* sequencer() const { return sequencer_.get(); }

private:
    void apply(EndpointList& endpoints, const snd_seq_event_t& event);

    Sequencer sequencer_;
};
