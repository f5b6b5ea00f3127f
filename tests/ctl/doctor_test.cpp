// SPDX-License-Identifier: MIT
#include "ctl/doctor.h"
#include "tests/ctl/workplace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
using Level = Finding::Level;

constexpr std::uint32_t code = 0x4AC5F4C4;

const Finding node{Level::ok, "sequencer",
                   "/dev/snd/seq is there, has its driver, and you may use it"};
const Finding places{Level::ok, "sequencer", "100 places for programs left"};

class DoctorTest : public testing::Test {
protected:
    DoctorTest() { setenv("XDG_RUNTIME_DIR", "/run", 1); }

    std::vector<Finding> findings(const std::optional<MachineChoice>& wanted = {}) {
        return diagnose(system_, wanted).findings;
    }

    TestSystem system_;
};

TEST_F(DoctorTest, FindsNothingWrongWhereAllIsWell) {
    system_.add_machine(code);
    const Diagnosis diagnosis = diagnose(system_, {});
    EXPECT_THAT(diagnosis.findings,
                ElementsAre(node, places,
                            Finding{Level::ok, "ports",
                                    "1 port can be heard, 1 port can be sent "
                                    "to"},
                            Finding{Level::ok, "4AC5F4C4", "can be set up (24:0)"}));
    EXPECT_TRUE(diagnosis.can_set_up);
    EXPECT_EQ(run_command({.command = Command::doctor}, system_).status, ExitStatus::done);
}

TEST_F(DoctorTest, StopsAtTheSequencer) {
    system_.trouble_ = SystemTrouble{"there is none", "get one"};
    system_.add_machine(code);
    EXPECT_THAT(findings(),
                ElementsAre(Finding{Level::problem, "sequencer", "there is none", "get one"}));
    const CommandResult result = run_command({.command = Command::doctor}, system_);
    EXPECT_EQ(result.output, "problem  sequencer: there is none\n         What to do: get one\n");
    EXPECT_EQ(result.status, ExitStatus::no_sequencer);
}

TEST_F(DoctorTest, SaysThatADemoIsOne) {
    system_.add_machine(code);
    system_.demo = true;
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_THAT(
        findings(),
        ElementsAre(Finding{Level::note, "demo",
                            "these machines are simulated; no sequencer and no real machine is "
                            "looked at",
                            "leave --demo out to look at this computer"},
                    Finding{Level::ok, "ports", "1 port can be heard, 1 port can be sent to"},
                    Finding{Level::ok, "4AC5F4C4", "can be set up (24:0)"}));
}

TEST_F(DoctorTest, CountsThePlacesThatAreLeft) {
    system_.places_ = 4;
    EXPECT_THAT(findings(),
                Contains(Finding{Level::ok, "sequencer", "4 places for programs left"}));
    system_.places_ = 1;
    EXPECT_THAT(findings(), Contains(Finding{Level::note, "sequencer", "1 place for programs left",
                                             "close programs that use MIDI before there is none"}));
}

constexpr const char* remedy_for_missing =
    "plug the machine in and switch it on, try another cable and socket; for a port with another "
    "name, such as one behind a merge box, use -m CODE@CLIENT:PORT";

TEST_F(DoctorTest, SaysThatNoMachineIsThere) {
    system_.attach({.name = "Synth"});
    EXPECT_THAT(findings(),
                Contains(Finding{Level::problem, "machines",
                                 "no port has a name that begins with eight hexadecimal digits",
                                 remedy_for_missing}));
    EXPECT_THAT(
        findings(MachineChoice{.code = code}),
        Contains(Finding{Level::problem, "4AC5F4C4",
                         "no port has a name that begins with this code", remedy_for_missing}));
    EXPECT_EQ(run_command({.command = Command::doctor}, system_).status, ExitStatus::no_machine);
}

TEST_F(DoctorTest, TellsMachinesOfTheFamilyFromOthers) {
    system_.add_machine(0x12345678);
    EXPECT_THAT(findings(),
                ElementsAre(node, places, testing::_,
                            Finding{Level::note, "12345678", "is no machine of the family (24:0)",
                                    "if it is one all the same, use keyloftctl with -m 12345678"},
                            Finding{Level::problem, "machines", "none of these is of the family",
                                    remedy_for_missing}));
    EXPECT_FALSE(diagnose(system_, {}).can_set_up);
    const Diagnosis named = diagnose(system_, MachineChoice{.code = 0x12345678});
    EXPECT_THAT(named.findings, Contains(Finding{Level::ok, "12345678", "can be set up (24:0)"}));
    EXPECT_TRUE(named.can_set_up);
}

TEST_F(DoctorTest, SaysThatTwoMachinesHaveOneCode) {
    system_.add_machine(code);
    system_.add_machine(code);
    EXPECT_THAT(findings(),
                Contains(Finding{Level::problem, "4AC5F4C4",
                                 "several ports with its name can be sent to: two machines have "
                                 "one code (24:0, 25:0)",
                                 "leave one of them attached, or name the port to send to, such "
                                 "as -m 4AC5F4C4@24:0"}));
    EXPECT_FALSE(diagnose(system_, {}).can_set_up);
}

TEST_F(DoctorTest, SaysWhichEndOfAMachineIsMissing) {
    system_.attach({.name = "4AC5F4C4 in", .is_destination = false});
    system_.attach({.name = "4AC6F4C4 out", .is_source = false});
    system_.attach({.name = "4AC7F4C4", .offline = 1});
    const auto found = findings();
    EXPECT_THAT(found, Contains(Finding{Level::problem, "4AC5F4C4",
                                        "it can be heard, but has no port to send to (sent to: "
                                        "none; heard: 24:0)",
                                        "unplug the machine and plug it in again; if its other "
                                        "port has another name, use -m 4AC5F4C4@CLIENT:PORT"}));
    EXPECT_THAT(found, Contains(Finding{Level::problem, "4AC6F4C4",
                                        "it has a port to send to, but none to hear its answer "
                                        "from (sent to: 25:0; heard: none)",
                                        "unplug the machine and plug it in again; if its other "
                                        "port has another name, use -m 4AC6F4C4@CLIENT:PORT"}));
    EXPECT_THAT(found, Contains(Finding{Level::problem, "4AC7F4C4", "it is offline (26:0)",
                                        "switch the machine off and on"}));
}

TEST_F(DoctorTest, SaysWhyTheWindowRefusesAMachine) {
    system_.attach({.name = "4AC5F4C4 MIDI 1", .model = "Clone"});
    system_.attach({.name = "4AC6F4C4 MIDI 1", .is_device = false});
    const auto found = findings();
    EXPECT_THAT(found, Contains(Finding{Level::note, "4AC5F4C4",
                                        "keyloft's window refuses it: its device is called "
                                        "\"4AC5F4C4 MIDI 1\" and its model \"Clone\", which do not "
                                        "both begin with 4AC5F4C4",
                                        "use keyloftctl, which looks at the ports alone"}));
    EXPECT_THAT(found, Contains(Finding{Level::note, "4AC6F4C4",
                                        "keyloft's window refuses it: no device has a name that "
                                        "begins with 4AC6F4C4",
                                        "use keyloftctl, which looks at the ports alone"}));
    EXPECT_TRUE(diagnose(system_, {}).can_set_up);
}

TEST_F(DoctorTest, SaysThatTheWindowWantsOneMachineAtATime) {
    system_.add_machine(code);
    system_.add_machine(0x4ACFF4C4);
    EXPECT_THAT(findings(),
                Contains(Finding{Level::note, "window",
                                 "several machines are there (4AC5F4C4, 4ACFF4C4), and keyloft's "
                                 "window sets up a machine only while it is alone",
                                 "use keyloftctl with -m, or leave one machine attached"}));
}

TEST_F(DoctorTest, NamesWhoIsConnectedAndWhoIsRunning) {
    system_.add_machine(code);
    system_.connections_ = {.readers = {{.name = "aseqdump", .pid = 12}},
                            .writers = {{.name = "Keyboard"}}};
    system_.clients_ = {{.name = "MIDI Client", .program = "keyloft", .pid = 13},
                        {.name = "keyloftctl", .program = "keyloftctl", .pid = 14},
                        {.name = "Synth", .pid = 15}};
    const auto found = findings();
    EXPECT_THAT(found, Contains(Finding{Level::note, "4AC5F4C4",
                                        "\"aseqdump\" (process 12) hears what it sends"}));
    EXPECT_THAT(found, Contains(Finding{Level::note, "4AC5F4C4", "\"Keyboard\" can send to it",
                                        "if settings fail now and then, end that connection"}));
    EXPECT_THAT(found, Contains(Finding{Level::note, "keyloft", "is running (process 13)",
                                        "do not set anything there while keyloftctl does"}));
    EXPECT_THAT(
        found, Contains(Finding{Level::note, "keyloftctl", "another one is running (process 14)"}));
    EXPECT_EQ(found.size(), 8U);
}

TEST_F(DoctorTest, SaysThatThereCanBeNoLock) {
    EXPECT_THAT(findings(), Not(Contains(Field(&Finding::subject, "lock"))));
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_THAT(findings(), Contains(Field(&Finding::subject, "lock")));
}

TEST_F(DoctorTest, LooksAtThePortThatIsNamed) {
    system_.attach({.name = "Merge Box"});
    const Diagnosis good =
        diagnose(system_, MachineChoice{.code = code, .port = setup::PortAddress{24, 0}});
    EXPECT_THAT(good.findings, Contains(Finding{Level::ok, "24:0",
                                                "\"Merge Box\" can be sent to, and \"Merge "
                                                "Box\" at 24:0 can be heard"}));
    EXPECT_TRUE(good.can_set_up);
    const Diagnosis bad =
        diagnose(system_, MachineChoice{.code = code, .port = setup::PortAddress{25, 0}});
    EXPECT_THAT(bad.findings, Contains(Finding{Level::problem, "25:0",
                                               "there is no such port that can be sent "
                                               "to",
                                               "look for the port with \"aconnect -l\""}));
    EXPECT_FALSE(bad.can_set_up);
}

} // namespace
