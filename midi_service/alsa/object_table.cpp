// SPDX-License-Identifier: MIT
#include "midi_service/alsa/object_table.h"

#include <cerrno>
#include <utility>

Object& ObjectTable::add(Object object) {
    object.reference = new_reference();
    const std::lock_guard lock{guard_};
    if (object.reference >= objects_.size()) {
        objects_.resize(object.reference + std::size_t{1});
        given_.resize(objects_.size());
    }
    given_[object.reference] = true;
    auto& place = objects_[object.reference];
    place = std::make_unique<Object>(std::move(object));
    return *place;
}

void ObjectTable::remove(MIDIObjectRef reference) {
    const std::lock_guard lock{guard_};
    objects_[reference].reset();
}

void ObjectTable::set_directions(Object& endpoint, bool is_source, bool is_destination) {
    const std::lock_guard lock{guard_};
    endpoint.is_source = is_source;
    endpoint.is_destination = is_destination;
}

OSStatus ObjectTable::absence(MIDIObjectRef reference) const {
    return reference < given_.size() && given_[reference] ? -ENODEV : -ENXIO;
}

std::optional<Address> ObjectTable::destination(MIDIObjectRef reference) const {
    const std::lock_guard lock{guard_};
    const Object* object = find(reference);
    if (!object || !object->is_destination)
        return std::nullopt;
    return object->address;
}
