// SPDX-License-Identifier: MIT
#include "setup/waiting.h"

#include <array>
#include <csignal>
#include <pthread.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

using setup::steady_now;
using setup::Time;
using setup::wait_readable;
using std::chrono::milliseconds;

namespace {

class Waiting : public testing::Test {
protected:
    ~Waiting() override { close(event); }
    const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::array<pollfd, 2> descriptors = {{{.fd = -1, .events = POLLIN, .revents = 0},
                                          {.fd = event, .events = POLLIN, .revents = 0}}};
};

} // namespace

TEST_F(Waiting, ReturnsWhenTheTimeHasComeAndNotBefore) {
    for (const int wait : {0, 1, 20}) {
        const Time until = steady_now() + milliseconds(wait);
        wait_readable(descriptors, until);
        EXPECT_GE(steady_now(), until);
        EXPECT_EQ(descriptors[1].revents, 0);
    }
}

TEST_F(Waiting, TimeThatIsPastIsNoWait) {
    const Time begun = steady_now();
    wait_readable(descriptors, begun - std::chrono::hours(1));
    wait_readable(descriptors, Time{});
    EXPECT_EQ(descriptors[1].revents, 0);
}

TEST_F(Waiting, ReturnsWhenADescriptorIsReady) {
    ASSERT_EQ(eventfd_write(event, 1), 0);
    wait_readable(descriptors, std::nullopt);
    EXPECT_EQ(descriptors[0].revents, 0);
    EXPECT_EQ(descriptors[1].revents, POLLIN);
    wait_readable(descriptors, steady_now() + std::chrono::hours(1));
    EXPECT_EQ(descriptors[1].revents, POLLIN);
}

TEST_F(Waiting, SignalEndsItWithNothingReady) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    ASSERT_EQ(eventfd_write(event, 1), 0);
    wait_readable(descriptors, std::nullopt); // leaves a mark that has to go
    eventfd_t value = 0;
    ASSERT_EQ(eventfd_read(event, &value), 0);
    std::atomic<bool> is_over{false};
    std::jthread sender{[&, waiter = pthread_self()] {
        // A signal that comes before the wait is lost: one more is sent until it is over.
        while (!is_over) {
            pthread_kill(waiter, SIGUSR1);
            std::this_thread::yield();
        }
    }};
    wait_readable(descriptors, std::nullopt);
    is_over = true;
    EXPECT_EQ(descriptors[1].revents, 0);
    sender.join();
    ASSERT_EQ(sigaction(SIGUSR1, &before, nullptr), 0);
}
