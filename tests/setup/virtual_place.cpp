// SPDX-License-Identifier: MIT
#include "tests/setup/virtual_place.h"

#include <algorithm>
#include <poll.h>

using setup::Time;
using std::chrono::microseconds;

bool VirtualPlace::has_heard(const setup::Client& client) {
    pollfd inbox{.fd = client.inbox().descriptor(), .events = POLLIN, .revents = 0};
    return poll(&inbox, 1, 0) == 1;
}

void VirtualPlace::wait(const setup::Client& client, Time until) {
    constexpr microseconds step{500};
    while (now() < until && !has_heard(client))
        service.advance(std::min(step, std::chrono::ceil<microseconds>(until - now())));
}
