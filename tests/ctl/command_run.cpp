// SPDX-License-Identifier: MIT
#include "tests/ctl/command_run.h"

#include "tests/ctl/virtual_waiting.h"

#include <csignal>
#include <unistd.h>

using namespace std::chrono_literals;

CommandRun::CommandRun(Echo echo, StopSignals& signals, const Bytes& stray)
    : signals_(signals), world_(service_, backend_, stray) {
    world_.echo = echo;
    install_midi_backend(&backend_);
    waited_service = &service_;
    backend_.in_step = [this](const Step& step) { in_step(step); };
    before_wait = [this] {
        // What happens here comes behind a moment that was waited for.
        stamp();
        service_.advance(1us);
        in_step({Stage::sequence, StepKind::wait});
    };
    when_idle = [this] { idle(); };
    before_time_passes = [this] { stamp(); };
}

CommandRun::~CommandRun() {
    before_wait = when_idle = before_time_passes = nullptr;
    waited_service = nullptr;
    install_midi_backend(nullptr);
    (void)signals_.take();
}

void CommandRun::in_step(const Step& step) {
    if (fault_ && fault_->step == steps_)
        world_.happen(fault_->fault, step);
    ++steps_;
    // A send takes a moment, so that an echo that comes before it returns comes behind its start.
    if (step.kind >= StepKind::clock && step.kind <= StepKind::closing_clock) {
        stamp();
        service_.advance(1us);
    }
}

void CommandRun::idle() {
    if (idle_waits_++ == 0)
        world_.happen(Fault::stray_echo, {Stage::sequence, StepKind::wait});
    else
        kill(getpid(), SIGINT);
}

void CommandRun::stamp() {
    times_.resize(backend_.journal.size(), service_.now());
}

CommandResult CommandRun::run(const Request& request, std::optional<FaultInStep> fault) {
    fault_ = fault;
    backend_.begin_press();
    CommandResult result = run_command(request, system_, &signals_);
    fault_.reset();
    stamp();
    return result;
}

CommandResult CommandRun::run_on_healthy_machine(const Request& request, Bytes& received) {
    world_.clear();
    const EmbeddedMachine machine(service_, 0x4AC5F4C4);
    backend_.begin_press();
    times_.clear();
    CommandResult result = run_command(request, system_, &signals_);
    const auto bytes = machine.received();
    received.assign(bytes.begin(), bytes.end());
    return result;
}
