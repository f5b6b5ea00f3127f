// SPDX-License-Identifier: MIT
#include "ctl/stop_signals.h"

#include <cerrno>
#include <cstdlib>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace {

bool is_ignored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

StopSignals::StopSignals() {
    sigset_t held{};
    sigemptyset(&held);
    bool any = false;
    for (const int signal : {SIGINT, SIGTERM}) {
        // A signal that is held back is kept even when it is ignored, so it must not be held.
        if (is_ignored(signal))
            continue;
        sigaddset(&held, signal);
        any = true;
    }
    pthread_sigmask(SIG_BLOCK, &held, &before_);
    if (!any)
        return;
    descriptor_ = signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        const int error = errno;
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        throw std::system_error(error, std::generic_category(), "signalfd");
    }
}

StopSignals::~StopSignals() {
    if (descriptor_ >= 0)
        close(descriptor_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

std::optional<int> StopSignals::take() {
    signalfd_siginfo info{};
    if (descriptor_ < 0 || read(descriptor_, &info, sizeof info) != sizeof info)
        return std::nullopt;
    return static_cast<int>(info.ssi_signo);
}

void StopSignals::end_by(int signal) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t only{};
    sigemptyset(&only);
    sigaddset(&only, signal);
    raise(signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    std::abort(); // not reached: the default action of these signals ends the program
}
