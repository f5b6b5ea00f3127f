// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_text.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// An endpoint or a device under its reference.
struct Object {
    MIDIObjectRef reference = 0;
    Address address{}; ///< of a device only the client counts
    bool is_source = false;
    bool is_destination = false;
    std::array<TextHandle, 3> texts{}; ///< by TextProperty; null: it has no such text
    std::uint64_t asked = 0;           ///< the count in which its name was asked for last

    [[nodiscard]] bool is_endpoint() const { return is_source || is_destination; }
    [[nodiscard]] TextHandle& text(TextProperty property) {
        return texts[static_cast<std::size_t>(property)];
    }
};

/// The objects by reference. It remembers which references were given to objects that are gone.
/// Screen thread, but for destination().
class ObjectTable {
public:
    /// Adds an object under a new reference. It stays where it is until it is removed.
    Object& add(Object object);
    void remove(MIDIObjectRef reference);
    /// Says in which directions an endpoint can be used.
    void set_directions(Object& endpoint, bool is_source, bool is_destination);

    /// Null when there is none, or when it is gone.
    [[nodiscard]] Object* find(MIDIObjectRef reference) const {
        return reference < objects_.size() ? objects_[reference].get() : nullptr;
    }
    /// The status for a reference that find() does not know: -ENODEV for an object that is gone,
    /// -ENXIO for one that never was.
    [[nodiscard]] OSStatus absence(MIDIObjectRef reference) const;

    /// Where a destination is. Any thread.
    [[nodiscard]] std::optional<Address> destination(MIDIObjectRef reference) const;

private:
    mutable std::mutex guard_; ///< held for every change, and to look from other threads
    std::vector<std::unique_ptr<Object>> objects_; ///< by reference
    std::vector<bool> given_;                      ///< as long as objects_
};
