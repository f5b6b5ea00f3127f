// SPDX-License-Identifier: MIT
#include "ctl/arguments.h"

#include "ctl/help_text.h"
#include "simulation/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using protocol::MessageType;
using testing::ElementsAre;
using testing::SizeIs;

using Arguments = std::vector<std::string>;

Request request(const Arguments& arguments) {
    const auto read = read_arguments(arguments);
    if (const auto* const end = std::get_if<ArgumentsEnd>(&read))
        ADD_FAILURE() << end->text;
    else
        return std::get<Request>(read);
    return {};
}

/// What is said about wrong arguments, without what all such texts have; "" when they are right.
std::string mistake(const Arguments& arguments) {
    const auto read = read_arguments(arguments);
    const auto* const end = std::get_if<ArgumentsEnd>(&read);
    if (end == nullptr || end->status != 2)
        return "";
    const std::string front = "keyloftctl: ";
    const std::string behind = "\nTry \"keyloftctl --help\".\n";
    EXPECT_TRUE(end->text.starts_with(front) && end->text.ends_with(behind)) << end->text;
    return end->text.substr(front.size(), end->text.size() - front.size() - behind.size());
}

TEST(Arguments, OfEachCommand) {
    EXPECT_EQ(request({"list"}).command, Command::list);
    EXPECT_EQ(request({"save"}).command, Command::save);
    EXPECT_EQ(request({"watch"}).command, Command::watch);
    EXPECT_EQ(request({"doctor"}).command, Command::doctor);
    const Request set = request({"set", "12", "note-on", "16", "127"});
    EXPECT_EQ(set.command, Command::set);
    EXPECT_EQ(set.mapping,
              (protocol::KeyMapping{
                  .part = 12, .type = MessageType::note_on, .channel = 16, .controller = 127}));
}

TEST(Arguments, OfCommandsWithFiles) {
    const Request check = request({"check", "-"});
    EXPECT_EQ(check.command, Command::check);
    EXPECT_THAT(check.files, ElementsAre("-"));
    const Request keep = request({"--json", "keep", "desk.toml", "pads.toml"});
    EXPECT_EQ(keep.command, Command::keep);
    EXPECT_THAT(keep.files, ElementsAre("desk.toml", "pads.toml"));
    const Request apply = request({"apply", "--available", "desk.toml", "--save", "--gentle", "-m",
                                   "4AC5F4C4@24:0", "--", "--pads.toml"});
    EXPECT_EQ(apply.command, Command::apply);
    EXPECT_THAT(apply.files, ElementsAre("desk.toml", "--pads.toml"));
    EXPECT_TRUE(apply.available && apply.save && apply.gentle);
    EXPECT_EQ(apply.machine, (MachineChoice{0x4AC5F4C4, setup::PortAddress{24, 0}}));
}

TEST(Arguments, OfIdentify) {
    const Request plain = request({"identify"});
    EXPECT_EQ(plain.command, Command::identify);
    EXPECT_TRUE(plain.files.empty() && plain.then.empty() && !plain.is_agreed);
    const Request full = request({"--layout", "-", "identify", "--then=desk.toml", "--yes"});
    EXPECT_THAT(full.files, ElementsAre("-"));
    EXPECT_THAT(full.then, ElementsAre("desk.toml"));
    EXPECT_TRUE(full.is_agreed);
}

TEST(Arguments, OptionsAreOffUnlessTheyAreGiven) {
    const Request request_ = request({"set", "0", "cc", "1", "0"});
    EXPECT_FALSE(request_.json || request_.save || request_.gentle || request_.available);
    EXPECT_TRUE(request_.files.empty());
    EXPECT_FALSE(request_.machine.has_value());
    EXPECT_FALSE(request_.demo.has_value());
}

TEST(Arguments, OptionsMayStandAnywhere) {
    const std::vector<Arguments> lines = {
        {"-m", "4AC5F4C4", "--json", "--save", "--gentle", "--demo", "set", "1", "cc", "2", "3"},
        {"set", "1", "cc", "2", "3", "-m", "4AC5F4C4", "--json", "--save", "--gentle", "--demo"},
        {"--demo", "set", "--save", "1", "--json", "cc", "--machine=4AC5F4C4", "2", "--gentle",
         "3"},
        {"--demo", "--json", "--save", "--gentle", "-m4AC5F4C4", "--", "set", "1", "cc", "2", "3"},
    };
    for (const Arguments& line : lines) {
        const Request read = request(line);
        EXPECT_TRUE(read.json && read.save && read.gentle);
        EXPECT_EQ(read.machine, (MachineChoice{.code = 0x4AC5F4C4}));
        EXPECT_EQ(read.mapping, (protocol::KeyMapping{.part = 1, .channel = 2, .controller = 3}));
        ASSERT_TRUE(read.demo.has_value());
        EXPECT_THAT(*read.demo, ElementsAre(0x4AC5F4C4));
    }
}

TEST(Arguments, DemoTakesItsMachinesBehindAnEqualsSign) {
    EXPECT_THAT(*request({"--demo=4AC0F4C4,4AC1F4C4", "list"}).demo,
                ElementsAre(0x4AC0F4C4, 0x4AC1F4C4));
    EXPECT_THAT(*request({"list", "--demo=all"}).demo, SizeIs(16));
    EXPECT_EQ(mistake({"list", "--demo=true"}),
              "--demo names \"true\", which is no device code: that has eight hexadecimal digits, "
              "such as 4AC5F4C4");
}

TEST(Arguments, FaultsGoToTheSimulatedMachines) {
    const Request read = request({"--demo", "--silent", "--delay", "20", "--wrong", "--wrong-byte",
                                  "3", "--chatter", "--vanish-after", "9", "--times", "2", "save"});
    EXPECT_EQ(read.faults.silent, 2U);
    EXPECT_EQ(read.faults.slow, 2U);
    EXPECT_EQ(read.faults.delay_ms, 20U);
    EXPECT_EQ(read.faults.wrong, 2U);
    EXPECT_EQ(read.faults.wrong_byte, 3U);
    EXPECT_EQ(read.faults.chatter, 2U);
    EXPECT_EQ(read.faults.vanish_after, 9U);
}

TEST(Arguments, FaultsNeedSimulatedMachines) {
    for (const Arguments& fault : std::vector<Arguments>{{"--silent"},
                                                         {"--delay", "1"},
                                                         {"--wrong"},
                                                         {"--chatter"},
                                                         {"--vanish-after", "1"},
                                                         {"--times", "1"}}) {
        Arguments line = fault;
        line.push_back("list");
        EXPECT_EQ(mistake(line), fault[0] + " needs --demo: a real machine has its own faults");
    }
}

TEST(Arguments, MistakesAreNamedInOurOwnWords) {
    const std::vector<std::pair<Arguments, std::string>> mistakes = {
        {{}, "a command is missing"},
        {{"--json"}, "a command is missing"},
        {{""}, "there is no command \"\""},
        {{"lst"}, "there is no command \"lst\""},
        {{"List"}, "there is no command \"List\""},
        {{"list", "1"}, "list takes no arguments"},
        {{"save", "list"}, "save takes no arguments"},
        {{"watch", ""}, "watch takes no arguments"},
        {{"doctor", "x"}, "doctor takes no arguments"},
        {{"set"}, "set takes four arguments: PART TYPE CHANNEL NUMBER"},
        {{"set", "1", "cc", "1"}, "set takes four arguments: PART TYPE CHANNEL NUMBER"},
        {{"set", "1", "cc", "1", "1", "1"}, "set takes four arguments: PART TYPE CHANNEL NUMBER"},
        {{"set", "-1", "cc", "1", "1"},
         "PART is \"-1\": it has to be a whole number from 0 to 127"},
        {{"set", "[1]", "cc", "1", "1"},
         "PART is \"[1]\": it has to be a whole number from 0 to 127"},
        {{"set", "1", "cc", "0", "1"},
         "CHANNEL is \"0\": it has to be a whole number from 1 to 16"},
        {{"set", "1", "cc", "1", "128"},
         "NUMBER is \"128\": it has to be a whole number from 0 to 127"},
        {{"set", "1", "note", "1", "1"},
         "TYPE is \"note\": it has to be note-on, note-off, control-change (or cc) or bend-change "
         "(or bend)"},
        {{"list", "--loud"}, "there is no option --loud"},
        {{"--loud=1", "list"}, "there is no option --loud"},
        {{"list", "-x"}, "there is no option -x"},
        {{"list", "--", "--json"}, "list takes no arguments"},
        {{"list", "-m"}, "-m needs a value"},
        {{"list", "--machine"}, "--machine needs a value"},
        {{"-m", "4AC5F4C4", "-m", "4AC5F4C4", "list"}, "--machine is given twice"},
        {{"list", "--json=no"}, "--json takes no value"},
        {{"list", "--demo", "--delay", "x"},
         "--delay is \"x\": it has to be a whole number from 0 to 60000"},
        {{"check"}, "check takes one or more layout files, or - for standard input"},
        {{"apply"}, "apply takes one or more layout files, or - for standard input"},
        {{"keep"}, "keep takes one or more layout files"},
        {{"keep", "desk.toml", "-"}, "keep reads its files again when they change, which - cannot"},
        {{"keep", "desk.toml", "-m", "4AC5F4C4"},
         "keep takes no -m: its layouts name the machines"},
        {{"keep", "desk.toml", "--save"}, "--save belongs to set and apply"},
        {{"list", "--save"}, "--save belongs to set and apply"},
        {{"--save", "save"}, "--save belongs to set and apply"},
        {{"check", "desk.toml", "--save"}, "--save belongs to set and apply"},
        {{"list", "--gentle"}, "--gentle belongs to set, save and apply"},
        {{"watch", "--gentle"}, "--gentle belongs to set, save and apply"},
        {{"check", "desk.toml", "--gentle"}, "--gentle belongs to set, save and apply"},
        {{"check", "desk.toml", "--available"}, "--available belongs to apply"},
        {{"set", "1", "cc", "1", "1", "--available"}, "--available belongs to apply"},
        {{"list", "-m", "4AC5"},
         "-m names \"4AC5\", which is no device code: that has eight hexadecimal digits, such as "
         "4AC5F4C4"},
    };
    for (const auto& [line, sentence] : mistakes)
        EXPECT_EQ(mistake(line), sentence) << testing::PrintToString(line);
}

TEST(Arguments, MistakesAboutIdentifyAreNamed) {
    const std::vector<std::pair<Arguments, std::string>> mistakes = {
        {{"identify", "desk.toml"}, "identify takes no arguments"},
        {{"identify", "--layout="}, "--layout needs a value"},
        {{"watch", "--yes"}, "--yes belongs to identify"},
        {{"apply", "desk.toml", "--layout", "desk.toml"}, "--layout belongs to identify"},
        {{"set", "1", "cc", "1", "1", "--then", "desk.toml"}, "--then belongs to identify"},
        {{"identify", "--layout", "-", "--then", "-"},
         "only one of --layout and --then can be standard input"},
    };
    for (const auto& [line, sentence] : mistakes)
        EXPECT_EQ(mistake(line), sentence) << testing::PrintToString(line);
}

TEST(Arguments, HelpAndVersionComeBeforeAllMistakes) {
    for (const Arguments& line : std::vector<Arguments>{
             {"--help"}, {"-h"}, {"set", "--help"}, {"lst", "-h"}, {"--version", "--help"}}) {
        const auto end = std::get<ArgumentsEnd>(read_arguments(line));
        EXPECT_EQ(end.status, 0);
        EXPECT_TRUE(end.text.starts_with(help_start) && end.text.ends_with(help_end));
        EXPECT_NE(end.text.find(fault_help), std::string::npos);
    }
    const auto end = std::get<ArgumentsEnd>(read_arguments({"--version"}));
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.text, "keyloftctl " KEYLOFT_VERSION "\n");
}

} // namespace
