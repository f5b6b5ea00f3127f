// SPDX-License-Identifier: MIT
#include "tests/e2e/journal.h"

#include <cerrno>
#include <system_error>

namespace {

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

} // namespace

Journal::Journal(const std::string& path) {
    if (path.empty())
        return;
    file_.reset(std::fopen(path.c_str(), "ae"));
    if (!file_)
        throw MachineError("The journal " + path +
                           " cannot be written: " + std::generic_category().message(errno) + ".");
}

void Journal::happened(const ConnectedMachine& machine, const MachineEvent& event) {
    write(machine, "event", event_text(machine, event));
}

void Journal::received(const ConnectedMachine& machine, std::span<const std::uint8_t> bytes) {
    write(machine, "received", hexadecimal(bytes));
}

void Journal::sent(const ConnectedMachine& machine, std::span<const std::uint8_t> bytes) {
    write(machine, "sent", hexadecimal(bytes));
}

void Journal::lost(const ConnectedMachine& machine) {
    write(machine, "event", "lost");
}

void Journal::write(const ConnectedMachine& machine, const char* key, const std::string& value) {
    const auto now = ConnectedMachine::Clock::now().time_since_epoch();
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
    std::FILE* const out = file_ ? file_.get() : stdout;
    std::fprintf(out, "{\"ns\":%lld,\"machine\":\"%s\",\"%s\":\"%s\"}\n",
                 static_cast<long long>(ns), machine.name().c_str(), key, value.c_str());
    std::fflush(out);
}
