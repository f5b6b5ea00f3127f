// SPDX-License-Identifier: MIT
#include "ctl/machine_jobs.h"

#include "simulation/embedded_connection.h"
#include "tests/setup/virtual_place.h"

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

namespace {

using setup::Result;
using std::chrono::milliseconds;

constexpr std::uint32_t first_code = 0x4AC5F4C4;
constexpr std::uint32_t second_code = 0x4AC6F4C4;

std::vector<protocol::KeyMapping> mappings(int count) {
    std::vector<protocol::KeyMapping> all;
    all.reserve(static_cast<std::size_t>(count));
    for (int part = 0; part < count; ++part)
        all.push_back({.part = part, .channel = 1 + part % 16, .controller = 127 - part});
    return all;
}

/// Jobs on machines of the embedded service, in virtual time.
class MachineJobsTest : public testing::Test {
protected:
    EmbeddedMachine& plug(std::uint32_t code, MachineFaults faults = {}) {
        return *machines.emplace_back(
            std::make_unique<EmbeddedMachine>(place.service, code, faults));
    }

    MachineJob& add(const EmbeddedMachine& machine, std::uint32_t code, int count, bool saves) {
        setup::Target target = VirtualPlace::target(machine.reference(), code);
        target.destination.address = setup::PortAddress{24, 0};
        return jobs.add(target, mappings(count), saves);
    }

    void run() {
        while (const auto until = jobs.step()) {
            pollfd inbox{.fd = jobs.inbox().descriptor(), .events = POLLIN, .revents = 0};
            while (place.now() < *until && poll(&inbox, 1, 0) == 0)
                place.service.advance(std::min<std::chrono::microseconds>(
                    std::chrono::microseconds(500),
                    std::chrono::ceil<std::chrono::microseconds>(*until - place.now())));
        }
    }

    VirtualPlace place;
    std::vector<std::unique_ptr<EmbeddedMachine>> machines;
    std::vector<ResultReport> results;
    std::function<void(MachineJob&)> at_result;
    MachineJobs jobs{setup::Pace::brisk,
                     [this](MachineJob& job, const ResultReport& result) {
                         results.push_back(result);
                         if (at_result)
                             at_result(job);
                     },
                     [this] { return place.now(); }};
};

TEST_F(MachineJobsTest, SetsAllMappingsOfAMachineInTheirOrderAndSavesThem) {
    const EmbeddedMachine& machine = plug(first_code);
    const MachineJob& job = add(machine, first_code, 3, true);
    EXPECT_FALSE(job.is_over());
    run();
    EXPECT_TRUE(job.is_over());
    EXPECT_TRUE(job.is_done());
    EXPECT_EQ(job.sum(), (JobSum{.mappings = 3,
                                 .confirmed = 3,
                                 .save = Result::confirmed,
                                 .took = milliseconds(4 * 11)}));
    ASSERT_EQ(results.size(), 4U);
    for (int part = 0; part < 3; ++part) {
        const ResultReport& result = results[static_cast<std::size_t>(part)];
        EXPECT_EQ(result.mapping, mappings(3)[static_cast<std::size_t>(part)]);
        EXPECT_EQ(result.code, first_code);
        EXPECT_EQ(result.port, "24:0");
    }
    EXPECT_EQ(results[3].mapping, std::nullopt);
    EXPECT_EQ(machine.saved_table().size(), 3U);
}

TEST_F(MachineJobsTest, SavesNothingUnlessEveryMappingIsConfirmed) {
    const EmbeddedMachine& machine = plug(first_code, {.silent = 2});
    const MachineJob& job = add(machine, first_code, 3, true);
    run();
    EXPECT_TRUE(job.is_over());
    EXPECT_FALSE(job.is_done());
    EXPECT_EQ(job.sum().confirmed, 2U);
    EXPECT_EQ(job.sum().unconfirmed, 1U);
    EXPECT_EQ(job.sum().save, std::nullopt);
    EXPECT_EQ(results.size(), 3U);
    EXPECT_TRUE(machine.saved_table().empty());
}

TEST_F(MachineJobsTest, SavesAlone) {
    const EmbeddedMachine& machine = plug(first_code);
    const MachineJob& job = add(machine, first_code, 0, true);
    EXPECT_FALSE(job.is_over());
    run();
    EXPECT_TRUE(job.is_done());
    EXPECT_EQ(results.size(), 1U);
}

TEST_F(MachineJobsTest, AJobWithNothingToDoIsDoneAtOnce) {
    const EmbeddedMachine& machine = plug(first_code);
    const MachineJob& job = add(machine, first_code, 0, false);
    EXPECT_TRUE(job.is_over());
    EXPECT_TRUE(job.is_done());
    run();
    EXPECT_TRUE(results.empty());
    EXPECT_TRUE(machine.received().empty());
}

TEST_F(MachineJobsTest, AMachineThatGoesAwayHoldsNoOtherUp) {
    const EmbeddedMachine& leaving = plug(first_code, {.vanish_after = 21});
    const EmbeddedMachine& staying = plug(second_code);
    const MachineJob& cut = add(leaving, first_code, 8, true);
    const MachineJob& whole = add(staying, second_code, 8, true);
    run();
    EXPECT_EQ(whole.sum().took, milliseconds(9 * 11));
    EXPECT_TRUE(whole.is_done());
    EXPECT_TRUE(cut.is_over());
    EXPECT_FALSE(cut.is_done());
    EXPECT_EQ(cut.sum().confirmed, 2U);
    EXPECT_EQ(cut.sum().not_sent, 6U);
    for (const ResultReport& result : results) {
        if (result.outcome.result == Result::not_sent) {
            EXPECT_EQ(result.outcome.status, -ENODEV);
        }
    }
}

TEST_F(MachineJobsTest, AMachineThatComesBackGetsANewJob) {
    EmbeddedMachine& machine = plug(first_code);
    for (int round = 1; round <= 3; ++round) {
        MachineJob& job = add(machine, first_code, 2, false);
        run();
        EXPECT_TRUE(job.is_done());
        jobs.remove(job);
        EXPECT_TRUE(jobs.jobs().empty());
        EXPECT_EQ(results.size(), 2U * static_cast<std::size_t>(round));
        machine.unplug();
        machine.plug();
    }
}

TEST_F(MachineJobsTest, AJobMayBeRemovedAndAnotherAddedByItsLastResult) {
    const EmbeddedMachine& machine = plug(first_code);
    const EmbeddedMachine& next = plug(second_code);
    at_result = [&](MachineJob& job) {
        if (!job.is_over() || job.target().code != first_code)
            return;
        jobs.remove(job);
        add(next, second_code, 2, false);
    };
    add(machine, first_code, 2, true);
    run();
    ASSERT_EQ(jobs.jobs().size(), 1U);
    EXPECT_TRUE(jobs.jobs().front().is_done());
    EXPECT_EQ(next.table().size(), 2U);
}

TEST_F(MachineJobsTest, StoppedJobsEndTheirSequencesAndReportTheRestAsNotSent) {
    add(plug(first_code), first_code, 4, true);
    add(plug(second_code), second_code, 4, true);
    at_result = [this](const MachineJob&) {
        if (results.size() == 2)
            jobs.stop();
    };
    run();
    for (const MachineJob& job : jobs.jobs()) {
        EXPECT_TRUE(job.is_over());
        EXPECT_EQ(job.sum().confirmed, 1U);
        EXPECT_EQ(job.sum().not_sent, 3U);
        EXPECT_EQ(job.sum().save, std::nullopt);
    }
}

} // namespace
