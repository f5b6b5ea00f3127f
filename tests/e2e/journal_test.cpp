// SPDX-License-Identifier: MIT
#include "tests/e2e/journal.h"

#include "tests/simulation/socket_machine.h"
#include "tests/support/captured_output.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <string_view>

namespace {

using std::chrono::nanoseconds;

/// A journal in a temporary file.
class JournalTest : public testing::Test {
protected:
    void TearDown() override { unlink(path_.c_str()); }

    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> all;
        std::ifstream file(path_);
        for (std::string line; std::getline(file, line);)
            all.push_back(line);
        return all;
    }

    const std::string path_ =
        testing::TempDir() + "keyloft-journal-" + std::to_string(getpid()) + ".jsonl";
};

TEST_F(JournalTest, HasALineForEachRunAndEventWithTheTime) {
    Journal journal(path_);
    SocketMachine machine({}, journal);
    const auto start = ConnectedMachine::Clock::now().time_since_epoch();
    const Bytes command = sequence(0xB0, 0x07, 0x05);
    ASSERT_EQ(write(machine.far_end(), command.data(), command.size()), 16);
    machine.read();
    machine.send_due(machine.next_due().value());
    const auto end = ConnectedMachine::Clock::now().time_since_epoch();

    const std::vector<std::string> expected = {
        R"("machine":"4AC5F4C4","received":"F8F8F8F8F8F8900705800705B00705F8"})",
        R"("machine":"4AC5F4C4","event":"part 5: Control Change, channel 1, controller 7"})",
        R"("machine":"4AC5F4C4","sent":"B00705"})"};
    const auto found = lines();
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        const std::string_view head = R"({"ns":)";
        ASSERT_TRUE(found[i].starts_with(head));
        std::size_t digits = 0;
        const nanoseconds at(std::stoll(found[i].substr(head.size()), &digits));
        EXPECT_EQ(found[i].substr(head.size() + digits), "," + expected[i]);
        EXPECT_GE(at, start);
        EXPECT_LE(at, end);
    }
}

TEST_F(JournalTest, GoesOnWhereItEnded) {
    for (int i = 0; i < 2; ++i) {
        Journal journal(path_);
        SocketMachine machine({}, journal);
        machine.power_cycle();
    }
    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(JournalTest, SaysThatAMachineWasLost) {
    Journal journal(path_);
    SocketMachine machine({}, journal);
    machine.cut();
    machine.read();
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_TRUE(lines()[0].ends_with(R"(,"machine":"4AC5F4C4","event":"lost"})"));
}

TEST_F(JournalTest, GoesToStandardOutputWithoutAFile) {
    CapturedOutput output;
    Journal journal("");
    SocketMachine machine({}, journal);
    machine.power_cycle();
    const std::string line = output.take();
    EXPECT_TRUE(line.starts_with(R"({"ns":)")) << line;
    EXPECT_TRUE(line.ends_with(R"("event":"power cycle: back to 0 mappings"})"
                               "\n"))
        << line;
}

TEST_F(JournalTest, SaysWhyItCannotBeWritten) {
    try {
        const Journal journal("/nonexistent/journal");
        FAIL() << "opened";
    } catch (const MachineError& error) {
        EXPECT_STREQ(error.what(), "The journal /nonexistent/journal cannot be written: "
                                   "No such file or directory.");
    }
}

} // namespace
