// SPDX-License-Identifier: MIT
#include "tests/setup/exchange_world.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

using protocol::Message;
using setup::Duration;
using setup::Exchange;
using setup::Time;
using std::chrono::milliseconds;

std::string hex(const Message& message) {
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%02X %02X %02X", static_cast<unsigned>(message[0]),
                  static_cast<unsigned>(message[1]), static_cast<unsigned>(message[2]));
    return text.data();
}

Time ms(double count) {
    return Time{} + std::chrono::round<Duration>(std::chrono::duration<double, std::milli>(count));
}

setup::Outcome ExchangeWorld::run(const Message& message, setup::Pace pace) {
    Exchange exchange{message, now, pace};
    sent.clear();
    arrived.clear();
    while (!exchange.is_over()) {
        const Time due = exchange.due();
        const Time next = on_the_way_.empty() ? due : std::min(due, on_the_way_.begin()->first);
        if (stop_at && *stop_at <= std::max(next, now)) {
            now = std::max(now, *stop_at);
            deliver(exchange, now);
            exchange.stop();
            stop_at.reset();
            continue;
        }
        now = std::max(now, next) + is_late();
        deliver(exchange, now);
        const auto bytes = exchange.advance(now);
        if (!bytes.empty())
            send(exchange, {bytes.begin(), bytes.end()}, message);
    }
    return exchange.outcome();
}

bool ExchangeWorld::holds(const Message& message) const {
    if (message == protocol::save_command)
        return has_saved_;
    const auto mapping = protocol::mapping_of(message);
    const auto held = firmware.table().find(*mapping);
    return held != firmware.table().end() && *held == *mapping;
}

void ExchangeWorld::deliver(Exchange& exchange, Time until) {
    while (!on_the_way_.empty() && on_the_way_.begin()->first <= until) {
        const auto next = on_the_way_.extract(on_the_way_.begin());
        arrived.push_back({next.key(), next.mapped().bytes, next.mapped().is_held});
        exchange.heard(next.key(), next.mapped().bytes);
    }
}

void ExchangeWorld::send(Exchange& exchange, const Bytes& bytes, const Message& message) {
    const Time begun = now;
    const std::int32_t status = firmware.vanished() ? -ENODEV : send_status(sent.size());
    if (status == 0)
        answer(bytes, message);
    now += send_takes();
    sent.push_back({begun, now, bytes, status});
    exchange.sent(status, now);
}

void ExchangeWorld::answer(const Bytes& bytes, const Message& message) {
    if (loop) {
        if (loop_passes_clocks || bytes[0] != protocol::timing_clock) {
            const std::size_t length = bytes[0] == protocol::timing_clock ? 1 : 3;
            for (std::size_t i = 0; i < bytes.size(); i += length)
                arrives(now + *loop, {bytes.data() + i, bytes.data() + i + length});
        }
        return;
    }
    const MachineAnswer given = firmware.receive(bytes);
    has_saved_ = has_saved_ || std::ranges::any_of(given.events, [](const MachineEvent& event) {
                     return event.kind == MachineEvent::Kind::save;
                 });
    for (const MachineReply& reply : given.replies) {
        const auto* const begin = reply.bytes.data();
        on_the_way_.emplace(now + milliseconds(reply.after_ms),
                            OnTheWay{{begin, begin + reply.length}, holds(message)});
    }
    if (firmware.vanished())
        on_the_way_.clear();
}
