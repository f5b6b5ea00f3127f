// SPDX-License-Identifier: MIT
// One whole press on the apply button, from the click until the alert is painted: with one machine,
// with all sixteen (which get no command, because it is not known which one is meant), and with
// 1,000 other ports around. On the service inside the process, or with --sequencer on the ALSA
// sequencer, where keyloft-machine is the machine.

#include "bench/crowd.h"
#include "keyloft/ContentView.h"
#include "midi_service/alsa/alsa_backend.h"
#include "protocol/device_code.h"
#include "simulation/embedded_connection.h"

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QTest>
#include <array>
#include <benchmark/benchmark.h>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/// Sees alerts being painted.
class PaintWatch : public QObject {
public:
    PaintWatch() { qApp->installEventFilter(this); }

    /// Goes on with the program until an alert is painted, and gives its title.
    [[nodiscard]] QString next_alert() {
        painted_.clear();
        while (painted_.isEmpty())
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return painted_;
    }

protected:
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::Paint && object->objectName() == u"alert"_s)
            painted_ = static_cast<QDialog*>(object)->windowTitle();
        return false;
    }

private:
    QString painted_{};
};

void press(benchmark::State& state, const QString& title) {
    const Silence silence;
    PaintWatch watch;
    ContentView screen;
    screen.show();
    auto* button = screen.findChild<QPushButton*>(u"apply_button"_s);
    while (state.KeepRunning()) {
        QTest::mouseClick(button, Qt::LeftButton);
        if (const QString shown = watch.next_alert(); shown != title) {
            state.SkipWithError(("the wrong alert: " + shown.toStdString()).c_str());
            break;
        }
        state.PauseTiming();
        screen.findChild<QDialog*>(u"alert"_s)->accept();
        state.ResumeTiming();
    }
}

QString expected_title(std::int64_t machine_count) {
    return machine_count == 1 ? u"设置成功!"_s : u"设置失败!"_s;
}

void inside(benchmark::State& state) {
    EmbeddedBackend service;
    install_midi_backend(&service);
    {
        for (std::int64_t i = 0; i < state.range(1); ++i)
            benchmark::DoNotOptimize(service.attach({.name = port_name(i)}));
        std::deque<EmbeddedMachine> plugged;
        for (std::uint32_t i = 0; i < state.range(0); ++i)
            plugged.emplace_back(service, protocol::family_code(i));
        press(state, expected_title(state.range(0)));
    }
    install_midi_backend(nullptr);
}

/// The program keyloft-machine, as so many machines, which are on the sequencer once it says so.
class MachineProgram {
public:
    explicit MachineProgram(std::int64_t count) {
        std::vector<std::string> words{KEYLOFT_MACHINE};
        for (std::uint32_t i = 0; i < count; ++i)
            words.push_back(family_name(i));
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        std::array<int, 2> output{};
        if (pipe2(output.data(), O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawn(&process_, KEYLOFT_MACHINE, &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(output[1]);
        output_ = output[0];
        // One line for each machine.
        char letter = 0;
        for (std::int64_t lines = 0; lines < count && read(output_, &letter, 1) == 1;)
            lines += letter == '\n' ? 1 : 0;
    }
    ~MachineProgram() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        close(output_);
    }
    MachineProgram(const MachineProgram&) = delete;
    MachineProgram& operator=(const MachineProgram&) = delete;

private:
    pid_t process_ = -1;
    int output_ = -1;
};

void on_sequencer(benchmark::State& state) {
    const Crowd crowd(state.range(1));
    const MachineProgram plugged(state.range(0));
    const auto backend = AlsaBackend::create();
    install_midi_backend(backend.get());
    press(state, expected_title(state.range(0)));
    install_midi_backend(nullptr);
}

void add(const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)
        ->Args({1, 0})
        ->Args({16, 0})
        ->Args({1, 1'000})
        ->Iterations(2)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    if (QApplication::arguments().contains(u"--sequencer"_s))
        add("press/sequencer", on_sequencer);
    else
        add("press/inside", inside);
    benchmark::RunSpecifiedBenchmarks();
}
