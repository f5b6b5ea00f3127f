// SPDX-License-Identifier: MIT
#include "ctl/stop_signals.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

bool is_readable(int descriptor) {
    pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&polled, 1, 0) == 1;
}

void expect_none_held_back() {
    sigset_t held{};
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &held), 0);
    EXPECT_EQ(sigismember(&held, SIGINT), 0);
    EXPECT_EQ(sigismember(&held, SIGTERM), 0);
}

TEST(StopSignals, AreKeptUntilSomebodyLooks) {
    StopSignals signals;
    EXPECT_FALSE(is_readable(signals.descriptor()));
    EXPECT_EQ(signals.take(), std::nullopt);
    kill(getpid(), SIGTERM);
    EXPECT_TRUE(is_readable(signals.descriptor()));
    EXPECT_EQ(signals.take(), SIGTERM);
    EXPECT_EQ(signals.take(), std::nullopt);
    kill(getpid(), SIGINT);
    EXPECT_EQ(signals.take(), SIGINT);
}

TEST(StopSignals, StayIgnoredWhereTheParentSaidSo) {
    (void)signal(SIGINT, SIG_IGN);
    StopSignals signals;
    kill(getpid(), SIGINT);
    EXPECT_EQ(signals.take(), std::nullopt);
    kill(getpid(), SIGTERM);
    EXPECT_EQ(signals.take(), SIGTERM);
}

TEST(StopSignals, HaveNoDescriptorWhereAllAreIgnored) {
    (void)signal(SIGINT, SIG_IGN);
    (void)signal(SIGTERM, SIG_IGN);
    StopSignals signals;
    EXPECT_EQ(signals.descriptor(), -1);
    kill(getpid(), SIGTERM);
    EXPECT_EQ(signals.take(), std::nullopt);
}

TEST(StopSignals, EndTheProgramAsIfTheyHadNeverBeenHeldBack) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const StopSignals signals;
            StopSignals::end_by(signal);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal);
    }
}

TEST(StopSignals, AreAsBeforeAtTheEnd) {
    { const StopSignals signals; }
    expect_none_held_back();
}

TEST(StopSignals, AreNotHeldBackWhereNoDescriptorIsLeft) {
    for (const int each : {SIGINT, SIGTERM})
        (void)signal(each, SIG_DFL);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_THROW({ const StopSignals signals; }, std::system_error);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    expect_none_held_back();
}

} // namespace
