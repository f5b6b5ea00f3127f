// SPDX-License-Identifier: MIT
#include "tests/ctl/workplace.h"

#include "ctl/layout_files.h"
#include "ctl/port_lock.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

/// A number with what stands around it: "12 ms" and "1.20 s" have N for it, "12:34:56.789" is TIME.
std::string without_time(const std::string& number, std::string_view behind) {
    std::string shape = number;
    std::ranges::replace_if(
        shape, [](char c) { return c >= '0' && c <= '9'; }, '9');
    if (shape == "99:99:99.999")
        return "TIME";
    const std::size_t other = shape.find_first_not_of('9');
    if (other == std::string::npos)
        return behind.starts_with(" ms") ? "N" : number;
    return shape.substr(other) == ".99" && behind.starts_with(" s") ? "N" : number;
}

/// The same for each number in a text. Patterns of the library take longer than most commands.
std::string without_times(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = std::min(text.find_first_of("0123456789", at), text.size());
        const std::size_t end =
            std::min(text.find_first_not_of("0123456789:.", begin), text.size());
        result.append(text, at, begin - at);
        result += without_time(text.substr(begin, end - begin), std::string_view(text).substr(end));
        at = end;
    }
    return result;
}

/// A file in memory.
class Memory {
public:
    Memory() : descriptor_(memfd_create("output", MFD_CLOEXEC)) {
        if (descriptor_ < 0)
            throw std::runtime_error("no file in memory");
    }
    ~Memory() { close(descriptor_); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] std::string text() const {
        std::string text;
        std::array<char, 4096> room{};
        off_t at = 0;
        for (ssize_t length = 0; (length = pread(descriptor_, room.data(), room.size(), at)) > 0;
             at += length)
            text.append(room.data(), static_cast<std::size_t>(length));
        return without_times(text);
    }

private:
    int descriptor_;
};

} // namespace

TestSystem::~TestSystem() {
    install_midi_backend(nullptr);
}

std::optional<setup::PortAddress> TestSystem::address(MIDIEndpointRef endpoint) const {
    if (when_asked)
        when_asked();
    for (std::size_t i = 0; i < ports_.size(); ++i) {
        if (ports_[i] == endpoint)
            return setup::PortAddress{24 + static_cast<int>(i), 0};
    }
    return std::nullopt;
}

MIDIObjectRef TestSystem::attach(EmbeddedObject object, EmbeddedBackend::Receiver receiver) {
    ports_.push_back(backend_.attach(std::move(object), std::move(receiver)));
    return ports_.back();
}

EmbeddedMachine& TestSystem::add_machine(std::uint32_t code, MachineFaults faults) {
    machines_.push_back(std::make_unique<EmbeddedMachine>(backend_, code, faults));
    ports_.push_back(machines_.back()->reference());
    return *machines_.back();
}

LockHolder::LockHolder(const std::string& folder, const std::string& address) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
        const PortLock lock(folder, address);
        const char answer = lock.is_held() ? 'y' : 'n';
        if (write(ends[1], &answer, 1) == 1 && lock.is_held())
            pause();
        _exit(0);
    }
    close(ends[1]);
    char answer = 'n';
    const bool answered = process_ > 0 && read(ends[0], &answer, 1) == 1;
    close(ends[0]);
    if (!answered || answer != 'y') {
        (void)waitpid(process_, nullptr, 0);
        throw std::runtime_error("another process did not get the lock");
    }
}

LockHolder::~LockHolder() {
    kill(process_, SIGKILL);
    (void)waitpid(process_, nullptr, 0);
}

CommandResult run_command(const Request& request, MidiSystem& system, StopSignals* signals) {
    const Memory printed;
    const Memory said;
    Output output(printed.descriptor());
    Output errors(said.descriptor());
    const auto report = request.json ? json_report(output) : text_report(output, false);
    setup::Layout layout = read_layout_files(request.files);
    setup::Layout then = read_layout_files(request.then);
    Workplace place{.system = system,
                    .report = *report,
                    .output = output,
                    .errors = errors,
                    .signals = signals,
                    .layout = std::move(layout),
                    .then = std::move(then)};
    ExitStatus status = ExitStatus::done;
    switch (request.command) {
    case Command::list:
        status = run_list(request, place);
        break;
    case Command::set:
    case Command::save:
        status = run_set_or_save(request, place);
        break;
    case Command::check:
        status = run_check(request, place);
        break;
    case Command::apply:
        status = run_apply(request, place);
        break;
    case Command::keep:
        status = run_keep(request, place);
        break;
    case Command::watch:
        status = run_watch(request, place);
        break;
    case Command::identify:
        status = run_identify(request, place);
        break;
    case Command::doctor:
        status = run_doctor(request, place);
        break;
    }
    return {status, printed.text(), said.text(), place.stopped_by};
}
