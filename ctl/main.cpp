// SPDX-License-Identifier: MIT
#include "ctl/alsa_system.h"
#include "ctl/commands.h"
#include "ctl/demo_system.h"
#include "ctl/layout_files.h"

#include <cerrno>
#include <csignal>
#include <exception>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace {

std::unique_ptr<MidiSystem> system_for(const Request& request) {
    if (request.demo)
        return std::make_unique<DemoSystem>(
            *request.demo, request.faults,
            request.command == Command::keep ? DemoSystem::Show::plugs : DemoSystem::Show::parts);
    return std::make_unique<AlsaSystem>();
}

ExitStatus carry_out(const Request& request, Workplace& place) {
    switch (request.command) {
    case Command::list:
        return run_list(request, place);
    case Command::set:
    case Command::save:
        return run_set_or_save(request, place);
    case Command::check:
        return run_check(request, place);
    case Command::apply:
        return run_apply(request, place);
    case Command::keep:
        return run_keep(request, place);
    case Command::watch:
        return run_watch(request, place);
    case Command::identify:
        return run_identify(request, place);
    case Command::doctor:
        break;
    }
    return run_doctor(request, place);
}

/// The status behind what could not be printed. A reader that has gone wants no more of list,
/// check, watch and doctor; what set, save and apply did, they did.
ExitStatus after_output(ExitStatus status, Workplace& place) {
    const int error = place.output.error();
    if (error == 0 || error == EPIPE)
        return status;
    place.tell("cannot write to standard output: " + std::generic_category().message(error));
    return status == ExitStatus::done ? ExitStatus::unconfirmed : status;
}

/// If the parent closed one of the descriptors 0 to 2, the next file that is opened, perhaps the
/// sequencer, would get that number and our output. Using what stands there now fails.
void fill_standard_descriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0)
            (void)open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

/// A backend behind the operations for as long as this lives.
class InstalledBackend {
public:
    explicit InstalledBackend(MidiBackend& backend) { install_midi_backend(&backend); }
    ~InstalledBackend() { install_midi_backend(nullptr); }
    InstalledBackend(const InstalledBackend&) = delete;
    InstalledBackend& operator=(const InstalledBackend&) = delete;
};

int run(const Request& request, Output& output, Output& errors) {
    // While signals are not held back: what comes through a pipe may take its time.
    setup::Layout layout = read_layout_files(request.files);
    setup::Layout then = read_layout_files(request.then);
    std::optional<StopSignals> signals;
    const bool finishes_first =
        request.command == Command::set || request.command == Command::save ||
        request.command == Command::apply || request.command == Command::keep ||
        request.command == Command::watch || request.command == Command::identify;
    if (finishes_first)
        signals.emplace(); // before the backend, which may start a thread
    const auto system = system_for(request);
    const auto report =
        request.json ? json_report(output) : text_report(output, wants_colour(output.descriptor()));
    Workplace place{.system = *system,
                    .report = *report,
                    .output = output,
                    .errors = errors,
                    .signals = signals ? &*signals : nullptr,
                    .layout = std::move(layout),
                    .then = std::move(then)};
    ExitStatus status = ExitStatus::done;
    {
        const InstalledBackend installed(system->backend());
        status = after_output(carry_out(request, place), place);
    }
    const bool runs_until_stopped =
        request.command == Command::watch || request.command == Command::keep;
    if (place.stopped_by && !runs_until_stopped)
        StopSignals::end_by(*place.stopped_by);
    return static_cast<int>(status);
}

} // namespace

int main(int argc, char** argv) {
    fill_standard_descriptors();
    (void)std::signal(SIGPIPE, SIG_IGN);
    Output output(STDOUT_FILENO);
    Output errors(STDERR_FILENO);
    try {
        const auto read = read_arguments({argv + std::min(argc, 1), argv + argc});
        if (const auto* const end = std::get_if<ArgumentsEnd>(&read)) {
            (end->status == 0 ? output : errors).text(end->text);
            return output.error() == 0 || output.error() == EPIPE ? end->status : 1;
        }
        return run(std::get<Request>(read), output, errors);
    } catch (const std::exception& error) {
        errors.line(std::string("keyloftctl: ") + error.what());
        return static_cast<int>(ExitStatus::unconfirmed);
    }
}
