// SPDX-License-Identifier: MIT
#include "tests/ctl/keeper_world.h"

#include "protocol/device_code.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <cerrno>

using protocol::KeyMapping;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr setup::Time start{};

using Mappings = std::vector<KeyMapping>;

const Mappings two = {{.part = 1, .controller = 7}, {.part = 2, .channel = 3, .controller = 8}};
const Mappings others = {{.part = 1, .controller = 9}, {.part = 5, .controller = 10}};

KeptMappings kept(std::initializer_list<std::pair<std::uint32_t, Mappings>> machines) {
    KeptMappings mappings;
    for (const auto& [number, wanted] : machines)
        mappings[protocol::family_code(number)] = wanted;
    return mappings;
}

using Lines = std::vector<std::string>;

class KeeperTest : public testing::Test {
protected:
    ~KeeperTest() override {
        EXPECT_EQ(world.rights(), 0U);
        EXPECT_FALSE(world.has_trespassed);
    }

    /// Plugs a machine in after this time.
    void plug_after(milliseconds time, std::size_t index) {
        world.at(world.now() + time, [this, index] { world.plug(index); });
    }
    void unplug_after(milliseconds time, std::size_t index) {
        world.at(world.now() + time, [this, index] { world.unplug(index); });
    }

    Watchdog watchdog_{seconds(60)};
    KeeperWorld world;
};

} // namespace

TEST_F(KeeperTest, SetsWhoIsThereSideBySideAndRests) {
    for (std::uint32_t number = 0; number < 16; ++number)
        world.add_machine(number);
    KeptMappings all;
    for (std::uint32_t number = 0; number < 16; ++number)
        all[protocol::family_code(number)] = two;
    world.keeper->keep(all);
    world.run_until_idle();
    EXPECT_EQ(world.now(), start + milliseconds(22));
    EXPECT_EQ(world.told.size(), 16U);
    EXPECT_EQ(world.told.front(), "22 ms: 4AC0F4C4 has 2 of 2");
    for (std::size_t index = 0; index < 16; ++index) {
        EXPECT_TRUE(world.holds(index, two));
        EXPECT_TRUE(world.machine(index).saved_table().empty());
    }
    EXPECT_FALSE(world.keeper->step());
}

TEST_F(KeeperTest, LeavesOtherMachinesAlone) {
    world.add_machine(0);
    world.add_machine(1);
    world.keeper->keep(kept({{1, two}, {2, two}}));
    world.run_until_idle();
    EXPECT_EQ(world.told, Lines{"22 ms: 4AC1F4C4 has 2 of 2"});
    EXPECT_TRUE(world.machine(0).received().empty());
}

TEST_F(KeeperTest, SetsAMachineEachTimeItAppears) {
    world.add_machine(0);
    world.keeper->keep(kept({{0, two}}));
    for (int i = 0; i < 3; ++i) {
        unplug_after(milliseconds(1000 * i + 500), 0);
        plug_after(milliseconds(1000 * i + 1000), 0);
    }
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"22 ms: 4AC0F4C4 has 2 of 2", "1022 ms: 4AC0F4C4 has 2 of 2",
                                 "2022 ms: 4AC0F4C4 has 2 of 2", "3022 ms: 4AC0F4C4 has 2 of 2"}));
    EXPECT_TRUE(world.holds(0, two));
}

TEST_F(KeeperTest, SetsAMachineAnewThatWentInTheMiddle) {
    world.add_machine(0);
    world.add_machine(1);
    world.keeper->keep(kept({{0, two}, {1, two}}));
    unplug_after(milliseconds(14), 0);
    plug_after(milliseconds(50), 0);
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"14 ms: 4AC0F4C4 has 1 of 2, 1 not sent: No such device",
                                 "22 ms: 4AC1F4C4 has 2 of 2", "72 ms: 4AC0F4C4 has 2 of 2"}));
    EXPECT_TRUE(world.holds(0, two));
}

// It comes back before the keeper has found out that it was gone.
TEST_F(KeeperTest, SetsAMachineAnewThatWasGoneForNoTime) {
    world.add_machine(0);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + milliseconds(10), [this] {
        world.unplug(0);
        world.plug(0);
    });
    world.run_until_idle();
    EXPECT_TRUE(world.holds(0, two));
    EXPECT_EQ(world.told.back(), "35 ms: 4AC0F4C4 has 2 of 2");
}

TEST_F(KeeperTest, WaitsForWhoeverHasTheMachine) {
    world.add_machine(0);
    world.add_machine(1);
    world.take_right(0);
    world.keeper->keep(kept({{0, two}, {1, two}}));
    world.at(start + milliseconds(5000), [this] { world.give_right_up(0); });
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"0 ms: waits for 4AC0F4C4", "22 ms: 4AC1F4C4 has 2 of 2",
                                 "5022 ms: 4AC0F4C4 has 2 of 2"}));
}

TEST_F(KeeperTest, TriesEveryTenSecondsWhetherTheMachineIsFree) {
    world.add_machine(0);
    world.take_right(0);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + seconds(25), [this] { world.foreign.clear(); });
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"0 ms: waits for 4AC0F4C4", "30022 ms: 4AC0F4C4 has 2 of 2"}));
}

TEST_F(KeeperTest, WaitsNoLongerForAMachineThatHasGone) {
    world.add_machine(0);
    world.take_right(0);
    world.keeper->keep(kept({{0, two}}));
    unplug_after(milliseconds(100), 0);
    world.run_until_idle();
    EXPECT_EQ(world.rights(), 0U);
    // Nor does it wait when it is back and free.
    world.foreign.clear();
    plug_after(milliseconds(100), 0);
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"0 ms: waits for 4AC0F4C4", "223 ms: 4AC0F4C4 has 2 of 2"}));
}

// The kernel frees a lock when any descriptor of the process is closed, so the first machine's has
// to be given up before the second takes it, although the first still waits for its echo then.
TEST_F(KeeperTest, TakesThePortOfAMachineThatWentInTheMiddle) {
    world.add_machine(0, {.silent = MachineFaults::always});
    world.keeper->keep(kept({{0, two}, {1, two}}));
    world.at(start + milliseconds(50), [this] {
        world.unplug(0);
        world.add_machine(1); // at the same port
    });
    world.run_until_idle();
    EXPECT_TRUE(world.holds(1, two));
    EXPECT_EQ(world.told,
              (Lines{"72 ms: 4AC1F4C4 has 2 of 2", "313 ms: 4AC0F4C4 part 1 is unconfirmed",
                     "313 ms: 4AC0F4C4 has 0 of 2, 1 not sent: No such device"}));
}

TEST_F(KeeperTest, SetsNeitherOfTwoMachinesWithOneCode) {
    world.add_machine(0);
    world.add_machine(0);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + milliseconds(500), [this] { world.keeper->look_around(); });
    world.run_until(start + seconds(1));
    EXPECT_EQ(world.told, Lines{"0 ms: cannot set 4AC0F4C4"});
    unplug_after(milliseconds(0), 0);
    world.run_until_idle();
    EXPECT_EQ(world.told.back(), "1022 ms: 4AC0F4C4 has 2 of 2");
    EXPECT_TRUE(world.holds(1, two));
}

// A name may change without anybody's being told.
TEST_F(KeeperTest, LooksEveryTenSecondsAtAMachineThatCannotBeSetUp) {
    const EmbeddedObject in{.name = "4AC0F4C4 in", .is_destination = false};
    EmbeddedObject out{.name = "out", .is_source = false};
    (void)world.service.attach(in);
    const MIDIObjectRef port = world.service.attach(out);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + seconds(5), [&] {
        out.name = "4AC0F4C4 out";
        world.service.update_object(port, out);
        (void)world.service.update(ObjectList::devices); // takes the news
    });
    world.run_until(start + seconds(9));
    EXPECT_EQ(world.told, Lines{"0 ms: cannot set 4AC0F4C4"});
    world.run_until_idle();
    EXPECT_EQ(world.told.back(), "11244 ms: 4AC0F4C4 has 0 of 2");
}

TEST_F(KeeperTest, FinishesAMachineThatGetsATwin) {
    world.add_machine(0);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + milliseconds(12), [this] { world.add_machine(0); });
    world.run_until(start + seconds(1));
    EXPECT_EQ(world.told, (Lines{"12 ms: cannot set 4AC0F4C4", "22 ms: 4AC0F4C4 has 2 of 2"}));
    // When it is alone again it is the one that is set already.
    unplug_after(milliseconds(0), 1);
    world.run_until_idle();
    EXPECT_EQ(world.told.size(), 2U);
}

TEST_F(KeeperTest, SetsThoseAgainWhoseMappingsChange) {
    world.add_machine(0);
    world.add_machine(1);
    world.keeper->keep(kept({{0, two}, {1, two}}));
    world.run_until(start + seconds(1));
    world.keeper->keep(kept({{0, two}, {1, others}}));
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"22 ms: 4AC0F4C4 has 2 of 2", "22 ms: 4AC1F4C4 has 2 of 2",
                                 "1022 ms: 4AC1F4C4 has 2 of 2"}));
    EXPECT_TRUE(world.holds(1, others));
}

TEST_F(KeeperTest, SetsByTheNewMappingsBehindTheOldOnes) {
    world.add_machine(0);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + milliseconds(5), [this] { world.keeper->keep(kept({{0, others}})); });
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"22 ms: 4AC0F4C4 has 2 of 2", "44 ms: 4AC0F4C4 has 2 of 2"}));
    EXPECT_TRUE(world.holds(0, others));
}

TEST_F(KeeperTest, NoLongerKeepsAMachineWithoutMappings) {
    world.add_machine(0);
    world.keeper->keep(kept({{0, two}}));
    world.at(start + milliseconds(5), [this] { world.keeper->keep({}); });
    unplug_after(milliseconds(1000), 0);
    plug_after(milliseconds(2000), 0);
    world.run_until_idle();
    EXPECT_EQ(world.told, Lines{"22 ms: 4AC0F4C4 has 2 of 2"});
    EXPECT_FALSE(world.holds(0, two));
}

TEST_F(KeeperTest, DoesNotRepeatWhatIsUnconfirmed) {
    world.add_machine(0, {.silent = MachineFaults::always});
    world.keeper->keep(kept({{0, two}}));
    world.run_until_idle();
    EXPECT_EQ(world.told,
              (Lines{"622 ms: 4AC0F4C4 part 1 is unconfirmed",
                     "1244 ms: 4AC0F4C4 part 2 is unconfirmed", "1244 ms: 4AC0F4C4 has 0 of 2"}));
    EXPECT_FALSE(world.keeper->step());
}

TEST_F(KeeperTest, TriesAgainWhereAMachineThatStaysCannotBeSentTo) {
    world.add_machine(0);
    world.backend.refuse_sends = -EAGAIN;
    world.keeper->keep(kept({{0, two}}));
    world.at(start + seconds(15), [this] { world.backend.refuse_sends = 0; });
    world.run_until_idle();
    EXPECT_EQ(world.told,
              (Lines{"4 ms: 4AC0F4C4 has 0 of 2, 2 not sent: Resource temporarily unavailable",
                     "10008 ms: 4AC0F4C4 has 0 of 2, 2 not sent: Resource temporarily unavailable",
                     "20030 ms: 4AC0F4C4 has 2 of 2"}));
}

TEST_F(KeeperTest, StopEndsWhatHasBegunAndBeginsNothing) {
    world.add_machine(0);
    world.add_machine(1);
    world.take_right(1);
    world.keeper->keep(kept({{0, two}, {1, two}, {2, two}}));
    world.at(start + milliseconds(5), [this] {
        world.keeper->stop();
        world.add_machine(2);
        world.give_right_up(1);
    });
    world.run_until_idle();
    EXPECT_EQ(world.told, (Lines{"0 ms: waits for 4AC1F4C4",
                                 "11 ms: 4AC0F4C4 has 1 of 2, 1 not sent: Operation canceled"}));
    EXPECT_FALSE(world.keeper->step());
    EXPECT_TRUE(world.machine(1).received().empty());
    EXPECT_TRUE(world.machine(2).received().empty());
    world.keeper.reset();
}

namespace {

/// What another machine does beside the first one.
void happen(KeeperWorld& world, int what) {
    switch (what) {
    case 0:
        return world.plug(1);
    case 1:
        return world.unplug(0);
    case 2:
        world.unplug(0);
        return world.plug(0);
    case 3:
        world.unplug(0);
        return world.plug(1); // at its port
    default:
        world.plug(2); // its twin
        return world.unplug(2);
    }
}

} // namespace

// Whatever comes or goes in the middle of any call of the service, no news of it is lost.
TEST_F(KeeperTest, MissesNothingThatHappensInACall) {
    std::size_t calls = 0;
    for (int what = 0; what < 5; ++what) {
        for (std::size_t call = 0; call == 0 || call < calls; ++call) {
            SCOPED_TRACE(std::to_string(what) + " in call " + std::to_string(call));
            KeeperWorld own;
            for (const std::uint32_t number : {0U, 1U, 0U})
                own.add_machine(number);
            own.unplug(1);
            own.unplug(2);
            own.backend.calls = 0;
            own.backend.in_call = [&](std::size_t number) {
                if (number == call)
                    happen(own, what);
            };
            own.keeper->keep(kept({{0, two}, {1, two}}));
            own.run_until_idle();
            calls = own.backend.calls;
            for (std::size_t index = 0; index < 2; ++index)
                EXPECT_TRUE(own.holds(index, two) || own.machine(index).reference() == 0);
            EXPECT_LT(own.now(), start + seconds(1));
            EXPECT_FALSE(own.has_trespassed);
            EXPECT_EQ(own.rights(), 0U);
            if (HasFailure())
                return;
        }
        EXPECT_GT(calls, 30U);
    }
}
