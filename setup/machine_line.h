// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/annotated_mutex.h"
#include "midi_service/midi_service.h"
#include "setup/clock.h"
#include "setup/machine_list.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace setup {

class MachineLine;

/// One message as it arrived. Of system-exclusive data, which nothing here is about, no more than
/// three bytes.
struct Heard {
    const MachineLine* line;
    Time at;
    std::array<std::uint8_t, 3> data;
    std::uint8_t length; ///< 1 to 3

    [[nodiscard]] std::span<const std::uint8_t> bytes() const {
        return std::span{data}.first(length);
    }
};

/// What the lines heard, in order of arrival. The receive thread puts it in, the calling thread
/// takes it out.
class Inbox {
public:
    /// std::system_error: no descriptor is left.
    explicit Inbox(Now now);
    ~Inbox();
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;

    [[nodiscard]] Time now() const { return now_(); }
    /// For poll(): readable as long as something is in the box.
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Replaces `into` by all that is in the box. What arrived before now() was called is there.
    void take(std::vector<Heard>& into);

    /// Stamps a message and queues it. Receive thread.
    void put(const MachineLine& line, std::span<const std::uint8_t> bytes);
    /// Throws away what this line heard.
    void forget(const MachineLine& line);

private:
    void clear_signal() REQUIRES(guard_);

    const Now now_;
    const int descriptor_;
    Mutex guard_;
    std::vector<Heard> queue_ GUARDED_BY(guard_){};
};

/// Our client of the MIDI service, with the input port that all lines share. The service's backend
/// has to outlive it.
class Client {
public:
    /// `name`: from CFSTR. std::system_error: no descriptor is left.
    Client(CFStringRef name, Now now);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// 0, or why there are no client and port; every line has this status then.
    [[nodiscard]] OSStatus status() const { return status_; }
    [[nodiscard]] Inbox& inbox() { return inbox_; }
    [[nodiscard]] const Inbox& inbox() const { return inbox_; }

private:
    friend class MachineLine;
    Inbox inbox_;
    MIDIClientRef client_ = 0;
    MIDIPortRef input_ = 0;
    OSStatus status_ = 0;
};

/// An open line to one machine: an output port of its own, and its source connected to the client's
/// input port. Calling thread. The client has to outlive it. One line for a source at a time.
class MachineLine {
public:
    /// Without a destination (reference 0) the line only listens.
    MachineLine(Client& client, Target target);
    /// Nothing of this line's arrives any more, and nothing of it is left in the inbox.
    ~MachineLine();
    MachineLine(const MachineLine&) = delete;
    MachineLine& operator=(const MachineLine&) = delete;

    /// 0, or the negative errno that kept the line from being opened; nothing is heard then.
    [[nodiscard]] OSStatus status() const { return status_; }
    [[nodiscard]] const Target& target() const { return target_; }

    /// Sends whole messages, 256 bytes at most, at once. 0 or a negative errno. -ENODEV: the
    /// machine is gone, for good: when it comes back, it needs a line of its own.
    [[nodiscard]] OSStatus send(std::span<const std::uint8_t> messages);

private:
    Client& client_;
    const Target target_;
    MIDIPortRef output_ = 0;
    OSStatus status_ = 0;
};

} // namespace setup
