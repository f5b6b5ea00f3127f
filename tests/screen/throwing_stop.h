// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/fatal_stop.h"

#include <stdexcept>

/// What a fatal stop becomes in a test program that links throwing_stop.cpp, so that the test can
/// see what had happened by then.
struct FatalStop : std::runtime_error {
    FatalStop(const char* message, FatalReason why) : runtime_error(message), reason(why) {}
    FatalReason reason;
};
