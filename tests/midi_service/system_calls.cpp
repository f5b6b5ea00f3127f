// SPDX-License-Identifier: MIT
#include "tests/midi_service/system_calls.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

thread_local std::uint64_t system_calls = 0;
std::atomic<std::uint64_t> all_system_calls = 0;
int sequencer_open_error = 0;

namespace {

void count() {
    ++system_calls;
    all_system_calls.fetch_add(1, std::memory_order_relaxed);
}

/// The third argument of a call that has it or not; what is not there is not used.
#define OPTIONAL_ARGUMENT(last, type, name)                                                        \
    va_list arguments;                                                                             \
    va_start(arguments, last);                                                                     \
    const type name = va_arg(arguments, type);                                                     \
    va_end(arguments)

int open_file(const char* path, int flags, unsigned mode) {
    count();
    if (sequencer_open_error != 0 && std::strcmp(path, "/dev/snd/seq") == 0) {
        errno = sequencer_open_error;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    OPTIONAL_ARGUMENT(flags, unsigned, mode);
    return open_file(path, flags, mode);
}

// What a fortified library calls when the flags are not known in advance.
int __open_2(const char* path, int flags) {
    return open_file(path, flags, 0);
}

int __open64_2(const char* path, int flags) {
    return open_file(path, flags, 0);
}

ssize_t read(int file, void* buffer, size_t size) {
    count();
    return syscall(SYS_read, file, buffer, size);
}

ssize_t pread(int file, void* buffer, size_t size, off_t offset) {
    count();
    return syscall(SYS_pread64, file, buffer, size, offset);
}

ssize_t write(int file, const void* buffer, size_t size) {
    count();
    return syscall(SYS_write, file, buffer, size);
}

int ioctl(int file, unsigned long request, ...) noexcept {
    count();
    OPTIONAL_ARGUMENT(request, void*, argument);
    return static_cast<int>(syscall(SYS_ioctl, file, request, argument));
}

int fcntl(int file, int command, ...) {
    count();
    OPTIONAL_ARGUMENT(command, void*, argument);
    return static_cast<int>(syscall(SYS_fcntl, file, command, argument));
}

int poll(pollfd* files, nfds_t number, int timeout) {
    count();
    return static_cast<int>(syscall(SYS_poll, files, number, timeout));
}
}
