// SPDX-License-Identifier: MIT
// Preloaded into keyloft, this stops it before each step of a command until a test lets it go on.
// KEYLOFT_STEPS names two FIFOs: the step goes to <name>.at as a line "WHAT ARGUMENT", and a byte
// from <name>.go permits it. A step is a pause, an event for the sequencer, or one of two lines of
// output.

#include "midi_service/midi_service.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

int open_fifo(const char* end, int flags) {
    const char* const name = std::getenv("KEYLOFT_STEPS");
    return name != nullptr ? open((std::string(name) + end).c_str(), flags | O_CLOEXEC) : -1;
}

/// Announces a step and waits for permission. When the test has ended, nothing waits.
void step(const char* what, long argument) {
    static const int at = open_fifo(".at", O_WRONLY);
    static const int go = open_fifo(".go", O_RDONLY);
    std::array<char, 64> line{};
    const int length = std::snprintf(line.data(), line.size(), "%s %ld\n", what, argument);
    char permission = 0;
    if (syscall(SYS_write, at, line.data(), length) == length)
        (void)syscall(SYS_read, go, &permission, 1);
}

template<typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void step_at_line(const char* text) {
    for (const char* begin : {"MIDIGetNumberOfDestinations", "midiOutShortMsg"}) {
        if (std::strncmp(text, begin, std::strlen(begin)) == 0)
            step("line", begin[0]);
    }
}

bool is_sequencer(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
           status.st_rdev == makedev(116, 1);
}

} // namespace

extern "C" {

int usleep(useconds_t microseconds) {
    static auto* const real = next<int(useconds_t)>("usleep");
    step("pause", static_cast<long>(microseconds));
    return real(microseconds);
}

ssize_t write(int descriptor, const void* data, size_t length) {
    if (is_sequencer(descriptor))
        step("send", static_cast<long>(length));
    return syscall(SYS_write, descriptor, data, length);
}

// Which output function the compiler calls depends on the text and on the build's options.

int printf(const char* format, ...) {
    step_at_line(format);
    va_list arguments;
    va_start(arguments, format);
    const int result = std::vprintf(format, arguments);
    va_end(arguments);
    return result;
}

int __printf_chk(int, const char* format, ...) {
    step_at_line(format);
    va_list arguments;
    va_start(arguments, format);
    const int result = std::vprintf(format, arguments);
    va_end(arguments);
    return result;
}

int puts(const char* text) {
    static auto* const real = next<int(const char*)>("puts");
    step_at_line(text);
    return real(text);
}
}
