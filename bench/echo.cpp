// SPDX-License-Identifier: MIT
// A message goes out and comes back: the time until the callback has it, with N other ports around.
// Without arguments another program on the sequencer sends it back; a bare pipe there and back is
// the floor. With a port's name and the two ends of a cable ("4AC5F4C4 MIDI 1 hw:1,0 hw:far5,0")
// the far end of the cable does, and raw MIDI is the floor.

#include "bench/allocations.h"
#include "bench/crowd.h"
#include "midi_service/alsa/alsa_backend.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_service.h"
#include "midi_service/midi_text.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <utility>
#include <vector>
#ifdef KEYLOFT_BENCH_RTMIDI
#include <rtmidi/RtMidi.h>
#endif

namespace {

using std::chrono::steady_clock;

constexpr std::array<std::uint8_t, 3> message{0xB0, 7, 5};

std::string port_to_use = "echo";
std::string near_end; ///< raw MIDI devices; empty: no cable
std::string far_end;

/// When the message came back; written by the receiving thread.
class Arrival {
public:
    void note() {
        at_ = steady_clock::now();
        receive_allocations = allocations - std::exchange(allocations_before_, allocations);
        receive_calls = system_calls - std::exchange(calls_before_, system_calls);
        {
            const std::lock_guard lock{guard_};
            came_ = true;
        }
        changed_.notify_one();
    }

    /// The time of the next message; nothing when none comes within a second. (A semaphore's timed
    /// wait would spin, and there are two processors for three threads.)
    [[nodiscard]] std::optional<steady_clock::time_point> wait() {
        std::unique_lock lock{guard_};
        const bool came =
            changed_.wait_for(lock, std::chrono::seconds{1}, [this] { return came_; });
        came_ = false;
        return came ? std::optional{at_} : std::nullopt;
    }

    // Of the receiving thread, since the message before.
    std::uint64_t receive_allocations = 0;
    std::uint64_t receive_calls = 0;

private:
    std::uint64_t allocations_before_ = 0;
    std::uint64_t calls_before_ = 0;
    steady_clock::time_point at_{};
    std::mutex guard_{};
    std::condition_variable changed_{};
    bool came_ = false;
};

Arrival arrival;

/// Sends until the echo comes, which now and then gets lost on a cable; how long the last one took.
template<typename Send>
double there_and_back(Send send) {
    while (true) {
        const auto start = steady_clock::now();
        send();
        if (const auto end = arrival.wait())
            return std::chrono::duration<double>(*end - start).count();
    }
}

template<typename Send>
void measure(benchmark::State& state, Send send) {
    std::vector<double> times;
    std::uint64_t most_sending = 0;
    std::uint64_t most_receiving = 0;
    std::uint64_t calls = 0;
    there_and_back(send); // opens what has to be opened
    there_and_back(send); // the receiving thread counts from here
    while (state.KeepRunning()) {
        const std::uint64_t before = allocations;
        const std::uint64_t calls_before = system_calls;
        const double took = there_and_back(send);
        most_sending = std::max(most_sending, allocations - before);
        most_receiving = std::max(most_receiving, arrival.receive_allocations);
        calls += system_calls - calls_before + arrival.receive_calls;
        times.push_back(took);
        state.SetIterationTime(took);
    }
    std::ranges::sort(times);
    state.counters["median_us"] = times[times.size() / 2] * 1e6;
    state.counters["calls"] =
        benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kAvgIterations);
    state.counters["send_allocations"] = static_cast<double>(most_sending);
    state.counters["receive_allocations"] = static_cast<double>(most_receiving);
}

/// A program that sends back what it gets; nobody when there is a cable.
class Echo {
public:
    Echo() {
        if (near_end.empty())
            peer_.emplace("echo", [this](auto bytes) { answer(bytes); });
    }

private:
    void answer(std::span<const std::uint8_t> bytes) {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        snd_seq_ev_set_controller(&event, 0, bytes[1], bytes[2]);
        peer_->send_event(event, {SND_SEQ_ADDRESS_SUBSCRIBERS, SND_SEQ_ADDRESS_UNKNOWN});
    }

    std::optional<AlsaPeer> peer_{};
};

/// A thread that runs until its owner goes: `step` is called whenever the file can be read.
class Reader {
public:
    template<typename Step>
    Reader(pollfd file, Step step) {
        thread_ = std::thread([this, file, step] {
            std::array<pollfd, 2> files{pollfd{stop_, POLLIN, 0}, file};
            while (poll(files.data(), files.size(), -1) < 0 || files[0].revents == 0) {
                if (files[1].revents != 0)
                    step();
            }
        });
    }
    ~Reader() {
        eventfd_write(stop_, 1);
        thread_.join();
        close(stop_);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

private:
    int stop_ = eventfd(0, EFD_CLOEXEC);
    std::thread thread_{};
};

/// One end of a cable.
class RawEnd {
public:
    explicit RawEnd(const std::string& device) {
        if (snd_rawmidi_open(&in_, &out_, device.c_str(), SND_RAWMIDI_NONBLOCK) < 0) {
            std::fprintf(stderr, "echo: %s cannot be opened\n", device.c_str());
            std::abort();
        }
    }
    ~RawEnd() {
        snd_rawmidi_close(in_);
        snd_rawmidi_close(out_);
    }
    RawEnd(const RawEnd&) = delete;
    RawEnd& operator=(const RawEnd&) = delete;

    [[nodiscard]] pollfd file() const {
        pollfd file{};
        snd_rawmidi_poll_descriptors(in_, &file, 1);
        return file;
    }

    void write() const { snd_rawmidi_write(out_, message.data(), message.size()); }

    /// Reads what is there; whether a message is whole with it.
    [[nodiscard]] bool read() {
        std::array<std::uint8_t, 16> bytes{};
        const auto count = snd_rawmidi_read(in_, bytes.data(), bytes.size());
        if (count > 0)
            length_ += static_cast<std::size_t>(count);
        if (length_ < message.size())
            return false;
        length_ -= message.size();
        return true;
    }

private:
    snd_rawmidi_t* in_ = nullptr;
    snd_rawmidi_t* out_ = nullptr;
    std::size_t length_ = 0;
};

/// The far end of the cable sends back what it gets; nobody without a cable.
class FarEcho {
public:
    FarEcho() {
        if (far_end.empty())
            return;
        end_.emplace(far_end);
        reader_.emplace(end_->file(), [this] {
            if (end_->read())
                end_->write();
        });
    }

private:
    std::optional<RawEnd> end_{};
    std::optional<Reader> reader_{};
};

void take(const MIDIPacketList* /*list*/, void* /*port*/, void* /*source*/) {
    arrival.note();
}

MIDIEndpointRef find_port(ItemCount count, MIDIEndpointRef (*get)(ItemCount)) {
    for (ItemCount i = 0; i < count; ++i) {
        CFStringRef text = nullptr;
        if (MIDIObjectGetStringProperty(get(i), kMIDIPropertyName, &text) == 0 &&
            view_text(TextHandle(text).get()) == port_to_use)
            return get(i);
    }
    return 0;
}

void ours(benchmark::State& state) {
    const Crowd crowd(state.range(0));
    const Echo echo;
    const FarEcho far_echo;
    const auto backend = AlsaBackend::create();
    install_midi_backend(backend.get());
    MIDIClientRef client = 0;
    MIDIPortRef out = 0;
    MIDIPortRef in = 0;
    MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client);
    MIDIOutputPortCreate(client, CFSTR("Output port"), &out);
    MIDIInputPortCreate(client, CFSTR("Input port"), take, nullptr, &in);
    const MIDIEndpointRef source = find_port(MIDIGetNumberOfSources(), MIDIGetSource);
    const MIDIEndpointRef to = find_port(MIDIGetNumberOfDestinations(), MIDIGetDestination);
    if (MIDIPortConnectSource(in, source, nullptr) == 0) {
        alignas(MIDIPacketList) std::array<std::uint8_t, 1024> room{};
        auto* list = reinterpret_cast<MIDIPacketList*>(room.data());
        measure(state, [&] {
            MIDIPacket* position = MIDIPacketListInit(list);
            MIDIPacketListAdd(list, room.size(), position, 0, message.size(), message.data());
            MIDISend(out, to, list);
        });
    } else {
        state.SkipWithError("there is no such port");
    }
    install_midi_backend(nullptr);
}

/// A program on alsa-lib without any service between: the floor of what goes over the sequencer.
void loop(benchmark::State& state) {
    const Echo echo;
    const FarEcho far_echo;
    AlsaPeer plain("plain", [](auto /*bytes*/) { arrival.note(); });
    snd_seq_addr_t address{};
    query_all_sources(plain.sequencer(), [&address](const auto& source, std::string_view name) {
        if (name == port_to_use)
            address = source;
    });
    snd_seq_connect_from(plain.sequencer(), 0, address.client, address.port);
    snd_seq_connect_to(plain.sequencer(), 0, address.client, address.port);
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    snd_seq_ev_set_controller(&event, 0, message[1], message[2]);
    measure(state, [&] { plain.send_event(event, address); });
}

#ifdef KEYLOFT_BENCH_RTMIDI
template<typename Side>
void open_port(Side& side) {
    for (unsigned port = 0; port < side.getPortCount(); ++port) {
        if (side.getPortName(port).find(port_to_use) != std::string::npos)
            return side.openPort(port);
    }
}

void rtmidi(benchmark::State& state) {
    const Echo echo;
    const FarEcho far_echo;
    RtMidiIn in(RtMidi::LINUX_ALSA);
    RtMidiOut out(RtMidi::LINUX_ALSA);
    in.setCallback([](double, std::vector<unsigned char>*, void*) { arrival.note(); });
    open_port(in);
    open_port(out);
    measure(state, [&out] { out.sendMessage(message.data(), message.size()); });
}
#endif

void pipes(benchmark::State& state) {
    std::array<int, 2> there{};
    std::array<int, 2> back{};
    if (pipe(there.data()) != 0 || pipe(back.data()) != 0)
        return state.SkipWithError("no pipe");
    const auto move = [](int from, int to) {
        std::array<std::uint8_t, message.size()> bytes{};
        if (read(from, bytes.data(), bytes.size()) > 0 && to >= 0)
            benchmark::DoNotOptimize(write(to, bytes.data(), bytes.size()));
    };
    {
        const Reader echo({there[0], POLLIN, 0}, [&] { move(there[0], back[1]); });
        const Reader receiver({back[0], POLLIN, 0}, [&] {
            move(back[0], -1);
            arrival.note();
        });
        measure(state,
                [&] { benchmark::DoNotOptimize(write(there[1], message.data(), message.size())); });
    }
    for (const int file : {there[0], there[1], back[0], back[1]})
        close(file);
}

void raw(benchmark::State& state) {
    const FarEcho far_echo;
    RawEnd near(near_end);
    const Reader receiver(near.file(), [&near] {
        if (near.read())
            arrival.note();
    });
    measure(state, [&near] { near.write(); });
}

void add(const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)->UseManualTime();
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc == 4) {
        port_to_use = argv[1];
        near_end = argv[2];
        far_end = argv[3];
        benchmark::RegisterBenchmark("usb/ours", ours)->Arg(0)->UseManualTime();
        add("usb/loop", loop);
        add("usb/raw", raw);
    } else {
        benchmark::RegisterBenchmark("echo/ours", ours)
            ->Arg(0)
            ->Arg(16)
            ->Arg(256)
            ->Arg(1'000)
            ->UseManualTime();
        add("echo/loop", loop);
        add("echo/pipe", pipes);
    }
#ifdef KEYLOFT_BENCH_RTMIDI
    add(near_end.empty() ? "echo/rtmidi" : "usb/rtmidi", rtmidi);
#endif
    benchmark::RunSpecifiedBenchmarks();
}
