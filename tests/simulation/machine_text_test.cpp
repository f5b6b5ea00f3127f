// SPDX-License-Identifier: MIT
#include "simulation/connected_machine.h"

#include "tests/simulation/socket_machine.h"

#include <gtest/gtest.h>

namespace {

TEST(MachineText, NamesEachMappingAsTheScreenDoes) {
    WatcherRecord record;
    SocketMachine machine({}, record);
    give(machine, sequence(0x80, 0x00, 0x00));
    give(machine, sequence(0x91, 0x01, 0x02));
    give(machine, sequence(0xB2, 0x7F, 0x7F));
    give(machine, sequence(0xEF, 0x07, 0x05));
    EXPECT_EQ(record.events,
              (std::vector<std::string>{"part 0: Note Off, channel 1, controller 0",
                                        "part 2: Note On, channel 2, controller 1",
                                        "part 127: Control Change, channel 3, controller 127",
                                        "part 5: Bend Change, channel 16, controller 7"}));
}

TEST(MachineText, CountsWhatIsSaved) {
    WatcherRecord record;
    SocketMachine machine({}, record);
    give(machine, sequence(0xAF, 0x7F, 0x7F));
    give(machine, sequence(0xB0, 0x07, 0x05));
    give(machine, sequence(0xB0, 0x07, 0x06));
    give(machine, sequence(0xAF, 0x7F, 0x7F));
    EXPECT_EQ(record.events.front(), "saved: 0 mappings");
    EXPECT_EQ(record.events.back(), "saved: 2 mappings");
}

TEST(MachineText, GivesBothTablesAsJson) {
    WatcherRecord record;
    SocketMachine machine({}, record);
    EXPECT_EQ(tables_json(machine), R"({"machine":"4AC5F4C4","table":[],"saved":[]})");
    give(machine, sequence(0xB0, 0x07, 0x06));
    give(machine, sequence(0xAF, 0x7F, 0x7F));
    give(machine, sequence(0x92, 0x01, 0x05));
    EXPECT_EQ(tables_json(machine),
              R"({"machine":"4AC5F4C4","table":[)"
              R"({"part":5,"type":"Note On","channel":3,"controller":1},)"
              R"({"part":6,"type":"Control Change","channel":1,"controller":7}],)"
              R"("saved":[{"part":6,"type":"Control Change","channel":1,"controller":7}]})");
}

} // namespace
