// SPDX-License-Identifier: MIT
#include "tests/screen/throwing_stop.h"

void fatal_stop(const char* message, FatalReason reason) {
    throw FatalStop(message, reason);
}
