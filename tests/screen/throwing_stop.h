// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/screen_controller.h"

#include <stdexcept>

/// What a fatal stop becomes in a test program that links throwing_stop.cpp, so that the test can
/// see what had happened by then.
struct FatalStop : std::runtime_error {
    using std::runtime_error::runtime_error;
};
