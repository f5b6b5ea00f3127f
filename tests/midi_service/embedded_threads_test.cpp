// SPDX-License-Identifier: MIT
#include "tests/midi_service/embedded_fixture.h"
#include "tests/support/watchdog.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

using namespace std::chrono_literals;

namespace {

/// Counts messages, and lets a test wait for one.
class Counter {
public:
    static void read(const MIDIPacketList*, void* port_context, void*) {
        static_cast<Counter*>(port_context)->count();
    }
    void count() {
        const std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    [[nodiscard]] bool wait_for(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 10s, [&] { return count_ >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

/// The embedded service in real time.
class EmbeddedThreads : public EmbeddedService {
protected:
    EmbeddedThreads() : EmbeddedService(EmbeddedBackend::Time::real) {
        EXPECT_EQ(MIDIInputPortCreate(client_, CFSTR("Input port"), Counter::read, &counted_, &in_),
                  0);
    }
    ~EmbeddedThreads() override { install_midi_backend(nullptr); }

    OSStatus send_clock(MIDIEndpointRef to) { return send(to, {{0xF8}}); }

    Watchdog watchdog_{100s};
    Counter counted_;
};

} // namespace

TEST_F(EmbeddedThreads, TimePassesByItself) {
    const auto before = service_.now();
    const auto start = std::chrono::steady_clock::now();
    while (service_.now() == before && std::chrono::steady_clock::now() - start < 10s)
        std::this_thread::yield();
    EXPECT_GT(service_.now(), before);
}

TEST_F(EmbeddedThreads, BytesComeByThemselvesAndNeverTooSoon) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    const auto start = std::chrono::steady_clock::now();
    service_.emit(object, Bytes{0xF8}, 20ms);
    EXPECT_TRUE(counted_.wait_for(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST_F(EmbeddedThreads, EarlierEmissionOvertakesALaterOneThatIsWaitedFor) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    service_.emit(object, Bytes{0xF8}, std::chrono::hours{1});
    service_.emit(object, Bytes{0xF8}, 1ms);
    EXPECT_TRUE(counted_.wait_for(1)) << "the receive thread slept on";
}

TEST_F(EmbeddedThreads, ServiceEndsAtOnceWithBytesStillOnTheirWay) {
    const auto start = std::chrono::steady_clock::now();
    {
        EmbeddedBackend other;
        const MIDIObjectRef object = other.attach(named("4AC5F4C4"));
        other.emit(object, Bytes{0xF8}, std::chrono::hours{1});
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

TEST_F(EmbeddedThreads, DetachingWaitsForTheReceiver) {
    std::atomic<bool> entered = false;
    std::atomic<bool> let_go = false;
    std::atomic<bool> left = false;
    const MIDIObjectRef object =
        service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t>) {
            entered = true;
            while (!let_go)
                std::this_thread::yield();
            // Whoever does not wait for the receiver gets a fair chance to be caught.
            for (int i = 0; i < 100; ++i)
                std::this_thread::yield();
            left = true;
        });
    std::thread sender([&] { EXPECT_EQ(send_clock(object), 0); });
    while (!entered)
        std::this_thread::yield();
    let_go = true;
    service_.detach(object);
    EXPECT_TRUE(left) << "it returned while the receiver ran";
    sender.join();
}

TEST_F(EmbeddedThreads, ReceiverIsNeverEnteredAfterTheDetachingHasReturned) {
    for (int round = 0; round < 100; ++round) {
        std::atomic<bool> detached = false;
        std::atomic<int> received = 0;
        const MIDIObjectRef object =
            service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t>) {
                EXPECT_FALSE(detached);
                ++received;
                std::this_thread::yield();
            });
        const auto flood = [&] {
            while (send_clock(object) == 0) {
            }
        };
        std::thread calling(flood);
        while (received < 3)
            std::this_thread::yield();
        service_.detach(object);
        detached = true;
        calling.join();
    }
}

TEST_F(EmbeddedThreads, ObjectsComeAndGoOnOneThreadWhileAnotherLooks) {
    std::atomic<bool> done = false;
    std::thread plugger([&] {
        for (int i = 0; i < 300; ++i) {
            const MIDIObjectRef object = service_.attach(named("4AC5F4C4"), [](auto) {});
            service_.emit(object, Bytes{0xF8}, 0us);
            service_.update_object(object, named("4ACAF4C4"));
            service_.detach(object);
        }
        done = true;
    });
    while (!done) {
        const ItemCount count = MIDIGetNumberOfSources();
        EXPECT_LE(count, 1U);
        for (ItemCount i = 0; i < count; ++i) {
            const MIDIObjectRef object = MIDIGetSource(i);
            static_cast<void>(text_of(object));
            static_cast<void>(offline_of(object));
            if (MIDIPortConnectSource(in_, object, nullptr) == 0)
                static_cast<void>(MIDIPortDisconnectSource(in_, object));
            static_cast<void>(send_clock(object));
        }
    }
    plugger.join();
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
}

TEST_F(EmbeddedThreads, PortsOpenAndCloseWhileMessagesPourIn) {
    const MIDIObjectRef object = service_.attach(named("4AC5F4C4"));
    std::atomic<bool> done = false;
    std::thread machine([&] {
        while (!done)
            service_.emit(object, Bytes{0x90, 0x40, 0x7F}, 0us);
    });
    for (int i = 0; i < 50; ++i) {
        Counter counter;
        MIDIPortRef port = 0;
        ASSERT_EQ(MIDIInputPortCreate(client_, CFSTR("Input port"), Counter::read, &counter, &port),
                  0);
        ASSERT_EQ(MIDIPortConnectSource(port, object, nullptr), 0);
        EXPECT_TRUE(counter.wait_for(1));
        ASSERT_EQ(MIDIPortDispose(port), 0);
        // The counter's end is what a late callback would run into.
    }
    done = true;
    machine.join();
}

TEST_F(EmbeddedThreads, AnswerComesOnTheReceiveThreadWhileTheSenderIsBusy) {
    MIDIObjectRef object = 0;
    object = service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t> messages) {
        service_.emit(object, messages, 0us);
    });
    ASSERT_EQ(MIDIPortConnectSource(in_, object, nullptr), 0);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(send_clock(object), 0);
    EXPECT_TRUE(counted_.wait_for(1000));
}
