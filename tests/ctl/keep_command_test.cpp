// SPDX-License-Identifier: MIT
#include "ctl/layout_files.h"
#include "ctl/port_right.h"
#include "tests/ctl/workplace.h"

#include "protocol/device_code.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t code = 0x4AC5F4C4;
constexpr std::uint32_t other_code = 0x4AC6F4C4;

/// A folder of its own, which is that of the locks, too.
class OwnFolder {
public:
    OwnFolder() {
        std::string pattern = testing::TempDir() + "keep-XXXXXX";
        path_ = mkdtemp(pattern.data());
        setenv("XDG_RUNTIME_DIR", path_.c_str(), 1);
    }
    ~OwnFolder() {
        unsetenv("XDG_RUNTIME_DIR");
        fs::remove_all(path_);
    }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// Lines that another thread writes.
class Lines {
public:
    Lines() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~Lines() {
        close(ends_[0]);
        close_writer();
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    [[nodiscard]] int writer() const { return ends_[1]; }
    void close_writer() {
        if (ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }
    /// Waits for the next one; empty behind the last.
    [[nodiscard]] std::string next() const {
        std::string text;
        for (char letter = 0; read(ends_[0], &letter, 1) == 1 && letter != '\n';)
            text += letter;
        return text;
    }

private:
    std::array<int, 2> ends_{};
};

/// keep in a thread of its own, over the embedded service, which is told to end at last.
class KeepCommand : public testing::Test {
protected:
    ~KeepCommand() override { end(); }

    void write(const std::string& text, const std::string& name = "desk.toml") const {
        std::ofstream(at(name)) << text;
    }
    [[nodiscard]] std::string at(const std::string& name) const {
        return folder_.path() + "/" + name;
    }

    void start(bool json = false) {
        thread_ = std::thread([this, json] {
            Output output(output_.writer());
            Output errors(errors_.writer());
            const auto report = json ? json_report(output) : text_report(output, false);
            const Request request{
                .command = Command::keep, .files = {at("desk.toml")}, .json = json};
            Workplace place{.system = system_,
                            .report = *report,
                            .output = output,
                            .errors = errors,
                            .signals = &signals_,
                            .layout = read_layout_files(request.files)};
            status_ = run_keep(request, place);
        });
    }

    void end() {
        if (!thread_.joinable())
            return;
        kill(getpid(), SIGTERM);
        thread_.join();
        output_.close_writer();
        errors_.close_writer();
        EXPECT_EQ(status_, ExitStatus::done);
    }

    /// The next line on standard output without the time, and on standard error without the
    /// program's name.
    std::string line() const {
        const std::string text = output_.next();
        return text.substr(0, text.rfind(" ("));
    }
    std::string error() const {
        const std::string text = errors_.next();
        return text.starts_with("keyloftctl: ") ? text.substr(12) : text;
    }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{std::chrono::seconds(60)};
    OwnFolder folder_;
    TestSystem system_;
    Lines output_;
    Lines errors_;
    ExitStatus status_ = ExitStatus::unconfirmed;
    std::thread thread_;
};

const std::string end_of_file = ":1:3: Error while parsing key-value pair: encountered end-of-file";
const std::string one_part =
    "[4AC5F4C4]\n12 = {type = 'Control Change', channel = 1, controller = 7}\n";
const std::string other_part =
    "[4AC5F4C4]\n12 = {type = 'Control Change', channel = 1, controller = 9}\n";
const std::string two_machines =
    one_part + "[4AC6F4C4]\n1 = {type = 'Note On', channel = 2, controller = 3}\n";

TEST_F(KeepCommand, SetsWhoIsThereAndWhoComes) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    EmbeddedMachine& other = system_.add_machine(other_code);
    other.unplug();
    write(two_machines);
    start();
    EXPECT_EQ(error(), "keeping 2 machines with 2 mappings");
    EXPECT_EQ(line(), "4AC5F4C4  1 mapping  confirmed");
    other.plug();
    EXPECT_EQ(line(), "4AC6F4C4  1 mapping  confirmed");
    end();
    EXPECT_EQ(line(), "");
    EXPECT_EQ(error(), "");
    EXPECT_EQ(machine.table().begin()->controller, 7);
    EXPECT_EQ(other.table().begin()->channel, 2);
    EXPECT_TRUE(machine.saved_table().empty());
}

TEST_F(KeepCommand, ReportsAMachineThatComesAndGoesOnce) {
    EmbeddedMachine& machine = system_.add_machine(code);
    std::vector<EmbeddedMachine*> others;
    std::string layout = one_part;
    for (const char* const name : {"4AC6F4C4", "4AC7F4C4", "4AC8F4C4"}) {
        others.push_back(&system_.add_machine(protocol::parse_code(name).value()));
        others.back()->unplug();
        layout +=
            std::string("[") + name + "]\n1 = {type = 'Note On', channel = 2, controller = 3}\n";
    }
    write(layout);
    start();
    EXPECT_EQ(line(), "4AC5F4C4  1 mapping  confirmed");
    for (EmbeddedMachine* const other : others) {
        machine.unplug();
        machine.plug();
        while (machine.table().empty()) // it is set in the other thread
            std::this_thread::yield();
        // This one is set later than the machine is, and comes for the first time.
        other->plug();
        EXPECT_TRUE(line().ends_with("F4C4  1 mapping  confirmed"));
    }
    end();
    EXPECT_EQ(line(), "");
}

TEST_F(KeepCommand, ReportsEachTimeForPrograms) {
    EmbeddedMachine& machine = system_.add_machine(code);
    write(one_part);
    start(true);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(output_.next().starts_with("{\"kind\":\"mapping\",\"machine\":\"4AC5F4C4\","));
        EXPECT_TRUE(output_.next().starts_with("{\"kind\":\"sum\",\"machine\":\"4AC5F4C4\","));
        machine.unplug();
        machine.plug();
    }
}

TEST_F(KeepCommand, NamesWhatIsUnconfirmed) {
    system_.add_machine(code, {.silent = MachineFaults::always});
    write(one_part);
    start();
    EXPECT_EQ(line(),
              "4AC5F4C4  part 12: Control Change, channel 1, controller 7  unconfirmed: sent "
              "twice, and no echo came");
    EXPECT_EQ(line(), "4AC5F4C4  1 mapping  unconfirmed");
}

TEST_F(KeepCommand, ReadsAFileAgainThatChanges) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    write(one_part);
    start(true);
    EXPECT_EQ(error(), "keeping 1 machine with 1 mapping");
    (void)output_.next();
    (void)output_.next();
    // As editors do it.
    write(other_part, "desk.toml~");
    fs::rename(at("desk.toml~"), at("desk.toml"));
    EXPECT_EQ(error(), "the files have changed; keeping 1 machine with 1 mapping");
    EXPECT_TRUE(output_.next().find("\"controller\":9,") != std::string::npos);
    (void)output_.next();
    EXPECT_EQ(machine.table().begin()->controller, 9);
}

TEST_F(KeepCommand, KeepsTheLastGoodLayout) {
    EmbeddedMachine& machine = system_.add_machine(code);
    write(one_part);
    start(true);
    EXPECT_EQ(error(), "keeping 1 machine with 1 mapping");
    (void)output_.next();
    (void)output_.next();
    write("12");
    EXPECT_EQ(error(), at("desk.toml") + end_of_file);
    EXPECT_EQ(error(), "the last good layout stays");
    fs::remove(at("desk.toml"));
    EXPECT_EQ(error(), at("desk.toml") + ": there is no such file");
    EXPECT_EQ(error(), "the last good layout stays");
    machine.unplug();
    machine.plug();
    EXPECT_TRUE(output_.next().find("\"controller\":7,") != std::string::npos);
    (void)output_.next();
    write(other_part);
    EXPECT_EQ(error(), "the files have changed; keeping 1 machine with 1 mapping");
    EXPECT_TRUE(output_.next().find("\"controller\":9,") != std::string::npos);
}

TEST_F(KeepCommand, WaitsForAnotherKeyloftctl) {
    system_.add_machine(code);
    write(one_part);
    auto holder = std::make_unique<LockHolder>(folder_.path(), "24:0");
    start();
    EXPECT_EQ(error(), "keeping 1 machine with 1 mapping");
    EXPECT_EQ(error(), "4AC5F4C4: 24:0 is in use by another keyloftctl (process " +
                           std::to_string(holder->process()) + "); waiting for it");
    holder.reset();
    EXPECT_EQ(line(), "4AC5F4C4  1 mapping  confirmed");
    end();
    // It has the lock no longer than it needs it.
    EXPECT_TRUE(PortLock(folder_.path(), "24:0").is_held());
    EXPECT_EQ(error(), "");
}

TEST_F(KeepCommand, SaysWhyAMachineCannotBeSetUp) {
    system_.attach({.name = "4AC5F4C4 in", .is_destination = false});
    write(one_part);
    start();
    EXPECT_EQ(error(), "keeping 1 machine with 1 mapping");
    EXPECT_EQ(error(), "4AC5F4C4 cannot be set up: it can be heard, but has no port to send to");
}

TEST_F(KeepCommand, WaitsForASequencer) {
    system_.trouble_ = SystemTrouble{"there is no sequencer", "get one"};
    write(one_part);
    start();
    EXPECT_EQ(error(), "keeping 1 machine with 1 mapping");
    EXPECT_EQ(error(), "there is no sequencer; get one; looking again every ten seconds");
    end();
    EXPECT_EQ(error(), "");
}

TEST_F(KeepCommand, SaysThatThereIsNoLock) {
    system_.add_machine(code);
    write(one_part);
    unsetenv("XDG_RUNTIME_DIR");
    start();
    EXPECT_EQ(error(), "keeping 1 machine with 1 mapping");
    EXPECT_EQ(error(),
              "XDG_RUNTIME_DIR is not set, so nothing keeps a second keyloftctl from sending "
              "meanwhile");
    EXPECT_EQ(line(), "4AC5F4C4  1 mapping  confirmed");
}

TEST_F(KeepCommand, DoesNotStartWithAMistake) {
    write("12");
    const Request request{.command = Command::keep, .files = {at("desk.toml")}};
    const CommandResult result = run_command(request, system_, &signals_);
    EXPECT_EQ(result.status, ExitStatus::arguments);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, at("desk.toml") + end_of_file + "\n");
}

class LockWaitsTest : public testing::Test {
protected:
    [[nodiscard]] bool is_readable() const {
        pollfd polled{.fd = waits_.descriptor(), .events = POLLIN, .revents = 0};
        return poll(&polled, 1, 0) == 1;
    }

    OwnFolder folder_;
    LockWaits waits_;
};

TEST_F(LockWaitsTest, WakeUpWhenALockIsGivenUp) {
    auto first = std::make_unique<LockHolder>(folder_.path(), "24:0");
    auto second = std::make_unique<LockHolder>(folder_.path(), "24:1");
    EXPECT_FALSE(waits_.take());
    EXPECT_EQ(waits_.descriptor(), -1);
    waits_.add("24:0");
    EXPECT_TRUE(waits_.take()) << "it may be free by now";
    EXPECT_FALSE(waits_.take());
    second.reset();
    EXPECT_FALSE(waits_.take()) << "nobody waits for that one";
    first.reset();
    EXPECT_TRUE(is_readable());
    EXPECT_TRUE(waits_.take());
    waits_.remove("24:0");
    EXPECT_TRUE(waits_.take());
    EXPECT_EQ(waits_.descriptor(), -1);
}

TEST_F(LockWaitsTest, AreNotDisturbedByARightThatIsTriedAgain) {
    const LockHolder holder(folder_.path(), "24:0");
    TestSystem system;
    std::vector<std::string> said;
    const auto say = [&said](const std::string& text) { said.push_back(text); };
    {
        PortRight right(system, "24:0", waits_, say, say);
        EXPECT_FALSE(right.take());
        EXPECT_TRUE(waits_.take());
        EXPECT_FALSE(right.take());
        EXPECT_FALSE(is_readable());
        EXPECT_FALSE(waits_.take());
        EXPECT_EQ(said.size(), 1U);
    }
    EXPECT_TRUE(waits_.take());
    EXPECT_EQ(waits_.descriptor(), -1);
}

} // namespace
