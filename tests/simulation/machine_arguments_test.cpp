// SPDX-License-Identifier: MIT
#include "simulation/machine_arguments.h"

#include "simulation/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Words = std::vector<std::string>;
constexpr unsigned always = MachineFaults::always;

MachineFaults faults_of(const Words& words) {
    return read_arguments(words).faults;
}

/// What is wrong with the arguments, as a sentence; "nothing" if they are right.
std::string mistake_in(const Words& words) {
    try {
        (void)read_arguments(words);
    } catch (const WrongArguments& mistake) {
        return mistake.what();
    }
    return "nothing";
}

TEST(MachineArguments, NameTheMachinesInTheirOrder) {
    EXPECT_EQ(read_arguments({}).codes, std::vector{0x4AC5F4C4U});
    EXPECT_EQ(read_arguments({"4ACAF4C4", "--silent", "4ac1f4c4"}).codes,
              (std::vector{0x4ACAF4C4U, 0x4AC1F4C4U}));
    const auto all = read_arguments({"--all"}).codes;
    ASSERT_EQ(all.size(), 16U);
    for (std::uint32_t i = 0; i < 16; ++i)
        EXPECT_EQ(all[i], 0x4AC0F4C4U + i * 0x10000U);
}

TEST(MachineArguments, AskForHelpOrTheVersionBesidesAnythingElse) {
    EXPECT_EQ(read_arguments({}).text, "");
    for (const char* help : {"--help", "-h"})
        EXPECT_THAT(read_arguments({"4AC5", help, "--version"}).text,
                    testing::StartsWith("Usage: keyloft-machine "));
    EXPECT_THAT(read_arguments({"--version", "--delay", "x"}).text,
                testing::MatchesRegex("keyloft-machine [0-9.]+\n"));
}

TEST(MachineArguments, AskForNoFaultByThemselves) {
    const MachineFaults faults = faults_of({});
    EXPECT_EQ(faults.silent, 0U);
    EXPECT_EQ(faults.slow, 0U);
    EXPECT_EQ(faults.wrong, 0U);
    EXPECT_EQ(faults.chatter, 0U);
    EXPECT_EQ(faults.vanish_after, 0U);
}

TEST(MachineArguments, LetFaultsLastForEverUnlessTheyAreCounted) {
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

TEST(MachineArguments, ChangeTheByteThatIsAskedFor) {
    EXPECT_EQ(faults_of({"--wrong", "--wrong-byte", "3"}).wrong_byte, 3U);
}

TEST(MachineArguments, HaveASentenceForEachMistake) {
    const std::string no_code = " is not a device code: it has eight hexadecimal digits, such as "
                                "4AC5F4C4";
    const std::string delay = ": it has to be a whole number from 0 to 60000";
    const std::vector<std::pair<Words, std::string>> mistakes = {
        {{"4AC5"}, "\"4AC5\"" + no_code},
        {{"4AC5F4C4", "4AC5F4CX"}, "\"4AC5F4CX\"" + no_code},
        {{"--", "--all"}, "\"--all\"" + no_code},
        {{""}, "\"\"" + no_code},
        {{"-1"}, "\"-1\"" + no_code},
        {{"--all", "4AC5F4C4"}, "give device codes or --all, not both"},
        {{"--loud"}, "there is no option --loud"},
        {{"--loud=5", "4AC5F4C4"}, "there is no option --loud"},
        {{"-x"}, "there is no option -x"},
        {{"--delay"}, "--delay needs a value"},
        {{"--delay="}, "--delay needs a value"},
        {{"--delay", ""}, "--delay needs a value"},
        {{"--delay", "--"}, "--delay needs a value"},
        {{"--silent", "--times"}, "--times needs a value"},
        {{"--silent=no"}, "--silent takes no value"},
        {{"--delay", "1", "--delay", "2"}, "--delay is given twice"},
        {{"--delay", "--silent"}, "--delay is \"--silent\"" + delay},
        {{"--delay", "x"}, "--delay is \"x\"" + delay},
        {{"--delay", "-1"}, "--delay is \"-1\"" + delay},
        {{"--delay", "+1"}, "--delay is \"+1\"" + delay},
        {{"--delay= 1"}, "--delay is \" 1\"" + delay},
        {{"--delay", "60001"}, "--delay is \"60001\"" + delay},
        {{"--wrong", "--wrong-byte", "4"},
         "--wrong-byte is \"4\": it has to be a whole number from 1 to 3"},
        {{"--wrong-byte", "3"}, "--wrong-byte needs --wrong"},
        {{"--vanish-after", "0"},
         "--vanish-after is \"0\": it has to be a whole number from 1 to 4294967295"},
        {{"--times", "4294967296"},
         "--times is \"4294967296\": it has to be a whole number from 1 to 4294967295"}};
    for (const auto& [words, sentence] : mistakes)
        EXPECT_EQ(mistake_in(words), sentence);
    EXPECT_EQ(mistake_in({"--delay=60000", "--", "4AC5F4C4"}), "nothing");
}

} // namespace
