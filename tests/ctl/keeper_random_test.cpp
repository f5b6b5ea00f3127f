// SPDX-License-Identifier: MIT
#include "tests/ctl/keeper_world.h"

#include "protocol/device_code.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <random>

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr std::uint32_t numbers = 16;
constexpr std::size_t machines = numbers + 4; // the last four are twins of the first
constexpr milliseconds turmoil{1000};

/// One course of events by a seed: machines come, go, vanish in the middle and meet their twins;
/// others have the right to them for a while; the mappings change. Some of it happens in the middle
/// of a call of the service.
class Turmoil {
public:
    explicit Turmoil(unsigned seed) : random_(seed) {}

    void run() {
        for (std::size_t index = 0; index < machines; ++index) {
            world.add_machine(number_of(index), faults());
            if (index >= numbers || one_in(2))
                world.unplug(index);
        }
        change_mappings();
        for (unsigned count = 40 + below(40); count > 0; --count)
            world.at(setup::Time{microseconds(below(turmoil.count() * 1000))},
                     [this] { happen(); });
        world.backend.in_call = [this](std::size_t) {
            if (world.now() >= setup::Time{turmoil} || !one_in(300))
                return;
            is_in_call_ = true;
            happen();
            is_in_call_ = false;
        };
        world.at(setup::Time{turmoil}, [this] { settle(); });
        world.run_until_idle();
    }

    /// What a machine has to hold in the end.
    [[nodiscard]] std::vector<protocol::KeyMapping> wanted(std::size_t index) const {
        const auto found = mappings_.find(protocol::family_code(number_of(index)));
        return found == mappings_.end() ? std::vector<protocol::KeyMapping>{} : found->second;
    }

    KeeperWorld world;

private:
    static std::uint32_t number_of(std::size_t index) {
        return static_cast<std::uint32_t>(index % numbers);
    }

    unsigned below(std::int64_t end) {
        return std::uniform_int_distribution<unsigned>(0, static_cast<unsigned>(end - 1))(random_);
    }
    bool one_in(unsigned chances) { return below(chances) == 0; }

    MachineFaults faults() {
        return {.silent = one_in(6) ? below(4) : 0,
                .slow = one_in(6) ? below(4) : 0,
                .delay_ms = below(400),
                .wrong = one_in(6) ? below(3) : 0,
                .chatter = one_in(3) ? below(5) : 0,
                .vanish_after = one_in(4) ? 1 + below(40) : 0};
    }

    void happen() {
        const std::size_t index = below(machines);
        switch (below(6)) {
        case 0:
            return world.unplug(index);
        case 1:
            world.unplug(index);
            return world.plug(index);
        case 2:
            return world.take_right(static_cast<int>(below(machines)));
        case 3:
            return world.give_right_up(static_cast<int>(below(machines)));
        case 4:
            // Not out of one of its own calls, and not so often.
            if (!is_in_call_ && one_in(3))
                change_mappings();
            return;
        default:
            return world.plug(index);
        }
    }

    void change_mappings() {
        for (std::uint32_t number = 0; number < numbers; ++number) {
            if (!one_in(3))
                continue;
            auto& wanted = mappings_[protocol::family_code(number)];
            wanted.clear();
            for (unsigned part = 0; part < 3; ++part) {
                if (!one_in(3))
                    wanted.push_back({.part = static_cast<int>(part),
                                      .channel = 1 + static_cast<int>(below(16)),
                                      .controller = static_cast<int>(below(128))});
            }
        }
        world.keeper->keep(mappings_);
    }

    /// Everybody gives the machines up, the twins go, and all machines that have gone stay gone.
    void settle() {
        for (std::size_t index = numbers; index < machines; ++index)
            world.unplug(index);
        for (int port = 0; port < static_cast<int>(machines); ++port)
            world.give_right_up(port);
    }

    std::mt19937 random_;
    KeptMappings mappings_{};
    bool is_in_call_ = false;
};

class KeeperTurmoil : public testing::TestWithParam<unsigned> {};

} // namespace

TEST_P(KeeperTurmoil, EndsWithEachMachineThatStaysHoldingItsMappings) {
    constexpr unsigned seeds = 100;
    Watchdog watchdog{seconds(300)};
    std::size_t held = 0;
    std::size_t gone_in_the_middle = 0;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(GetParam() * seeds + seed);
        Turmoil turmoil_of_seed(GetParam() * seeds + seed);
        turmoil_of_seed.run();
        const KeeperWorld& world = turmoil_of_seed.world;
        for (std::size_t index = 0; index < numbers; ++index) {
            if (turmoil_of_seed.world.machine(index).reference() == 0)
                continue;
            EXPECT_TRUE(world.holds(index, turmoil_of_seed.wanted(index))) << index;
            ++held;
        }
        for (const std::string& line : world.told)
            gone_in_the_middle += line.ends_with("No such device") ? 1 : 0;
        EXPECT_FALSE(world.has_trespassed);
        EXPECT_EQ(world.rights(), 0U);
        if (HasFailure())
            return;
    }
    EXPECT_GT(held, seeds * numbers / 4);
    EXPECT_GT(gone_in_the_middle, seeds);
}

INSTANTIATE_TEST_SUITE_P(Seeds, KeeperTurmoil, testing::Range(0U, 10U));
