// SPDX-License-Identifier: MIT
#include "midi_service/embedded/embedded_backend.h"

#include "midi_service/annotated_mutex.h"
#include "midi_service/midi_message.h"
#include "midi_service/midi_text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

using std::chrono::microseconds;
using std::chrono::steady_clock;

namespace {

TextHandle text_or_null(const std::optional<std::string>& text) {
    return TextHandle{text ? make_text(*text) : nullptr};
}

/// An attached object. Its texts are made once, so that a query allocates nothing.
struct Attached {
    explicit Attached(EmbeddedObject what, EmbeddedBackend::Receiver reaction)
        : receiver(std::move(reaction)) {
        set(std::move(what));
    }

    void set(EmbeddedObject what) {
        texts = {text_or_null(what.name), text_or_null(what.manufacturer),
                 text_or_null(what.model)};
        lists = {what.is_source, what.is_destination, what.is_device};
        object = std::move(what);
    }

    EmbeddedObject object;
    std::array<TextHandle, 3> texts; // by TextProperty
    std::array<bool, 3> lists;       // by ObjectList: whether it is in them
    const EmbeddedBackend::Receiver receiver;
    MessageReader reader; // receive thread
};

/// Bytes on their way from an object.
struct Emission {
    MIDIObjectRef object;
    std::vector<std::uint8_t> bytes;
};

} // namespace

struct EmbeddedBackend::State {
    explicit State(Time kind) : time(kind) {}
    ~State() { close(changes); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    const Time time;
    const steady_clock::time_point start = steady_clock::now();
    const int changes = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); // readable while `changed`

    mutable Mutex guard;
    std::condition_variable_any wake;      // the receive thread: something is due, or stop
    std::condition_variable_any delivered; // advance(): nothing is due any more
    std::condition_variable_any received;  // detach(): no receiver runs any more
    microseconds manual_now GUARDED_BY(guard){0};
    bool stop GUARDED_BY(guard) = false;
    bool delivering GUARDED_BY(guard) = false;
    std::unordered_map<MIDIObjectRef, std::shared_ptr<Attached>> objects GUARDED_BY(guard);
    const Attached* receiving GUARDED_BY(guard) = nullptr; // whose receiver runs, on this thread:
    std::thread::id calling_thread GUARDED_BY(guard);
    std::multimap<microseconds, Emission> on_the_way GUARDED_BY(guard);
    std::array<bool, 3> stale GUARDED_BY(guard){}; // lists that changed since their last update
    bool changed GUARDED_BY(guard) = false;        // any list did since any update

    std::array<std::vector<MIDIObjectRef>, 3> lists; // calling thread
    std::jthread receive_thread;

    microseconds now() const REQUIRES(guard) {
        if (time == Time::manual)
            return manual_now;
        return std::chrono::duration_cast<microseconds>(steady_clock::now() - start);
    }

    bool something_due() const REQUIRES(guard) {
        return !on_the_way.empty() && on_the_way.begin()->first <= now();
    }

    /// Null when there is no such object.
    const std::shared_ptr<Attached>& find(MIDIObjectRef object) const REQUIRES(guard) {
        static const std::shared_ptr<Attached> none;
        const auto found = objects.find(object);
        return found == objects.end() ? none : found->second;
    }

    void change() REQUIRES(guard) {
        stale.fill(true);
        if (!std::exchange(changed, true))
            eventfd_write(changes, 1);
    }

    void receive() {
        const Lock lock{guard};
        while (!stop) {
            if (something_due())
                deliver_next();
            else if (on_the_way.empty() || time == Time::manual)
                wake.wait(guard);
            else
                wake.wait_until(guard, start + on_the_way.begin()->first);
        }
    }

    /// Delivers what is due first. Unlocks the mutex while the callbacks run.
    void deliver_next() REQUIRES(guard) {
        const auto next = on_the_way.extract(on_the_way.begin());
        const auto& [object, bytes] = next.mapped();
        const auto sender = find(object); // shared: it may be detached meanwhile
        delivering = true;
        guard.unlock();
        for (const std::uint8_t byte : bytes)
            deliver(every_port, object, static_cast<MIDITimeStamp>(next.key().count()),
                    sender->reader.read(byte));
        guard.lock();
        delivering = false;
        if (!something_due())
            delivered.notify_all();
    }

    /// Unlocks the mutex while the receiver runs.
    void run_receiver(const Attached& attached, std::span<const std::uint8_t> messages)
        REQUIRES(guard) {
        receiving = &attached;
        calling_thread = std::this_thread::get_id();
        guard.unlock();
        attached.receiver(messages);
        guard.lock();
        receiving = nullptr;
        received.notify_all();
    }
};

EmbeddedBackend::EmbeddedBackend(Time time) : state_(std::make_unique<State>(time)) {
    state_->receive_thread = std::jthread{[this] { state_->receive(); }};
}

EmbeddedBackend::~EmbeddedBackend() {
    {
        const Lock lock{state_->guard};
        state_->stop = true;
    }
    state_->wake.notify_all();
    state_->receive_thread.join();
}

MIDIObjectRef EmbeddedBackend::attach(EmbeddedObject object, Receiver receiver) {
    const auto attached = std::make_shared<Attached>(std::move(object), std::move(receiver));
    const Lock lock{state_->guard};
    const MIDIObjectRef reference = new_reference();
    state_->objects.emplace(reference, attached);
    state_->change();
    return reference;
}

void EmbeddedBackend::update_object(MIDIObjectRef object, EmbeddedObject changed) {
    const Lock lock{state_->guard};
    if (const auto& attached = state_->find(object)) {
        attached->set(std::move(changed));
        state_->change();
    }
}

void EmbeddedBackend::detach(MIDIObjectRef object) {
    const Lock lock{state_->guard};
    const auto going = state_->find(object);
    if (!going)
        return;
    state_->objects.erase(object);
    state_->change();
    std::erase_if(state_->on_the_way,
                  [object](const auto& entry) { return entry.second.object == object; });
    while (state_->receiving == going.get() && state_->calling_thread != std::this_thread::get_id())
        state_->received.wait(state_->guard);
}

void EmbeddedBackend::emit(MIDIObjectRef object, std::span<const std::uint8_t> bytes,
                           microseconds after) {
    {
        const Lock lock{state_->guard};
        if (!state_->find(object))
            return;
        state_->on_the_way.emplace(state_->now() + after,
                                   Emission{object, {bytes.begin(), bytes.end()}});
        // In manual time, what is due later is delivered by advance().
        if (state_->time == Time::manual && !state_->something_due())
            return;
    }
    state_->wake.notify_one();
}

microseconds EmbeddedBackend::now() const {
    const Lock lock{state_->guard};
    return state_->now();
}

void EmbeddedBackend::advance(microseconds by) {
    const Lock lock{state_->guard};
    const microseconds until = state_->manual_now + by;
    while (true) {
        if (state_->something_due())
            state_->wake.notify_one();
        while (state_->something_due() || state_->delivering)
            state_->delivered.wait(state_->guard);
        if (state_->on_the_way.empty() || state_->on_the_way.begin()->first > until)
            break;
        state_->manual_now = state_->on_the_way.begin()->first;
    }
    state_->manual_now = until;
}

OSStatus EmbeddedBackend::connect(MIDIPortRef, MIDIEndpointRef source) {
    const Lock lock{state_->guard};
    const auto& attached = state_->find(source);
    return attached && attached->object.is_source ? 0 : -ENODEV;
}

OSStatus EmbeddedBackend::disconnect(MIDIPortRef, MIDIEndpointRef source) {
    const Lock lock{state_->guard};
    return state_->find(source) ? 0 : -ENODEV;
}

std::span<const MIDIObjectRef> EmbeddedBackend::update(ObjectList list) {
    const Lock lock{state_->guard};
    eventfd_t count = 0;
    if (std::exchange(state_->changed, false))
        eventfd_read(state_->changes, &count);
    const auto index = static_cast<std::size_t>(list);
    auto& references = state_->lists[index];
    if (!std::exchange(state_->stale[index], false))
        return references;
    references.clear();
    for (const auto& [reference, attached] : state_->objects) {
        if (attached->lists[index])
            references.push_back(reference);
    }
    std::ranges::sort(references); // in the order in which they were attached
    return references;
}

OSStatus EmbeddedBackend::text(MIDIObjectRef object, TextProperty property, CFStringRef& value) {
    const Lock lock{state_->guard};
    const auto& attached = state_->find(object);
    if (!attached)
        return -ENODEV;
    const auto& text = attached->texts[static_cast<std::size_t>(property)];
    if (!text)
        return -ENODATA;
    value = share_text(text.get());
    return 0;
}

OSStatus EmbeddedBackend::offline(MIDIObjectRef object, std::int32_t& value) {
    const Lock lock{state_->guard};
    const auto& attached = state_->find(object);
    if (!attached)
        return -ENODEV;
    if (!attached->object.offline)
        return -ENODATA;
    value = *attached->object.offline;
    return 0;
}

OSStatus EmbeddedBackend::send(MIDIPortRef, MIDIEndpointRef destination,
                               std::span<const std::uint8_t> messages) {
    const Lock lock{state_->guard};
    const auto attached = state_->find(destination); // shared: it may be detached meanwhile
    if (!attached || !attached->object.is_destination)
        return -ENODEV;
    const OSStatus status = attached->object.send_status;
    if (status == 0 && attached->receiver)
        state_->run_receiver(*attached, messages);
    return status;
}

int EmbeddedBackend::changes() const {
    return state_->changes;
}
