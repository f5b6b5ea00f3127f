// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer_types.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_text.h"

#include <array>
#include <memory>
#include <vector>

/// An endpoint or a device under its reference.
struct Object {
    MIDIObjectRef reference = 0;
    Address address{}; ///< of a device only the client counts
    bool is_source = false;
    bool is_destination = false;
    std::array<TextHandle, 3> texts{}; ///< by TextProperty; null: it has no such text

    [[nodiscard]] bool is_endpoint() const { return is_source || is_destination; }
    [[nodiscard]] TextHandle& text(TextProperty property) {
        return texts[static_cast<std::size_t>(property)];
    }
};

/// The objects by reference. Calling thread.
class ObjectTable {
public:
    /// Adds an object under a new reference. It stays where it is until it is removed.
    Object& add(Object object) {
        object.reference = new_reference();
        objects_.resize(object.reference + std::size_t{1});
        objects_.back() = std::make_unique<Object>(std::move(object));
        return *objects_.back();
    }
    void remove(MIDIObjectRef reference) { objects_[reference].reset(); }

    /// Null when there is none, or when it is gone.
    [[nodiscard]] Object* find(MIDIObjectRef reference) const {
        return reference < objects_.size() ? objects_[reference].get() : nullptr;
    }

private:
    std::vector<std::unique_ptr<Object>> objects_; ///< by reference
};
