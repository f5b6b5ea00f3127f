// SPDX-License-Identifier: MIT
#include "simulation/machine_arguments.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

namespace {

/// The faults that a command line asks for.
MachineFaults faults_of(std::vector<const char*> words) {
    CLI::App app;
    const FaultArguments arguments(app);
    words.insert(words.begin(), "program");
    EXPECT_EQ(read_arguments(app, static_cast<int>(words.size()), words.data()), std::nullopt);
    return arguments.faults();
}

/// The machines that a command line asks for.
std::vector<std::uint32_t> codes_of(std::vector<const char*> words) {
    CLI::App app;
    const CodeArguments arguments(app);
    words.insert(words.begin(), "program");
    EXPECT_EQ(read_arguments(app, static_cast<int>(words.size()), words.data()), std::nullopt);
    return arguments.codes();
}

constexpr unsigned always = MachineFaults::always;

TEST(CodeArguments, AreTheMachinesInTheirOrder) {
    EXPECT_EQ(codes_of({}), std::vector{0x4AC5F4C4U});
    EXPECT_EQ(codes_of({"4ACAF4C4", "4ac1f4c4"}), (std::vector{0x4ACAF4C4U, 0x4AC1F4C4U}));
    const auto all = codes_of({"--all"});
    ASSERT_EQ(all.size(), 16U);
    for (std::uint32_t i = 0; i < 16; ++i)
        EXPECT_EQ(all[i], 0x4AC0F4C4U + i * 0x10000U);
}

TEST(FaultArguments, AskForNothingByThemselves) {
    const MachineFaults faults = faults_of({});
    EXPECT_EQ(faults.silent, 0U);
    EXPECT_EQ(faults.slow, 0U);
    EXPECT_EQ(faults.wrong, 0U);
    EXPECT_EQ(faults.chatter, 0U);
    EXPECT_EQ(faults.vanish_after, 0U);
}

TEST(FaultArguments, LastForEverUnlessTheyAreCounted) {
    const MachineFaults all =
        faults_of({"--silent", "--delay", "250", "--wrong", "--chatter", "--vanish-after", "9"});
    EXPECT_EQ(all.silent, always);
    EXPECT_EQ(all.slow, always);
    EXPECT_EQ(all.delay_ms, 250U);
    EXPECT_EQ(all.wrong, always);
    EXPECT_EQ(all.wrong_byte, 2U);
    EXPECT_EQ(all.chatter, always);
    EXPECT_EQ(all.vanish_after, 9U);
    const MachineFaults counted = faults_of({"--silent", "--times", "1"});
    EXPECT_EQ(counted.silent, 1U);
    EXPECT_EQ(counted.wrong, 0U);
}

TEST(FaultArguments, ChangeTheByteThatIsAskedFor) {
    EXPECT_EQ(faults_of({"--wrong", "--wrong-byte", "3"}).wrong_byte, 3U);
}

} // namespace
