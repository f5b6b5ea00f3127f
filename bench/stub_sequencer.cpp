// SPDX-License-Identifier: MIT
// Preloaded into a program on a computer without a sequencer, this answers for /dev/snd/seq: an
// empty one, on which the program's own client and ports can be opened. So each program that is
// compared starts in the same way.

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sound/asequencer.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int first_client = 128;

std::array<bool, 1024> is_sequencer{}; // by file descriptor
int clients = 0;
int ports = 0;

bool is_ours(int file) {
    return file >= 0 && file < static_cast<int>(is_sequencer.size()) &&
           is_sequencer[static_cast<std::size_t>(file)];
}

int open_file(const char* path, int flags, unsigned mode) {
    if (std::strcmp(path, "/dev/snd/seq") != 0)
        return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    // Can always be written, and never has anything to read.
    const int file = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (file >= 0)
        is_sequencer.at(static_cast<std::size_t>(file)) = true;
    return file;
}

int answer(unsigned long request, void* argument) {
    switch (request) {
    case SNDRV_SEQ_IOCTL_PVERSION:
        *static_cast<int*>(argument) = SNDRV_SEQ_VERSION;
        return 0;
    case SNDRV_SEQ_IOCTL_CLIENT_ID:
        *static_cast<int*>(argument) = first_client + clients++;
        return 0;
    case SNDRV_SEQ_IOCTL_CREATE_PORT:
        static_cast<snd_seq_port_info*>(argument)->addr.port = static_cast<unsigned char>(ports++);
        return 0;
    case SNDRV_SEQ_IOCTL_QUERY_NEXT_CLIENT:
    case SNDRV_SEQ_IOCTL_QUERY_NEXT_PORT:
        errno = ENOENT;
        return -1;
    default:
        return 0;
    }
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return open_file(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return open_file(path, flags, mode);
}

int __open_2(const char* path, int flags) {
    return open_file(path, flags, 0);
}

int __open64_2(const char* path, int flags) {
    return open_file(path, flags, 0);
}

ssize_t read(int file, void* buffer, size_t size) {
    if (!is_ours(file))
        return syscall(SYS_read, file, buffer, size);
    errno = EAGAIN;
    return -1;
}

ssize_t write(int file, const void* buffer, size_t size) {
    return is_ours(file) ? static_cast<ssize_t>(size) : syscall(SYS_write, file, buffer, size);
}

int ioctl(int file, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (is_ours(file))
        return answer(request, argument);
    return static_cast<int>(syscall(SYS_ioctl, file, request, argument));
}

int close(int file) {
    if (is_ours(file))
        is_sequencer[static_cast<std::size_t>(file)] = false;
    return static_cast<int>(syscall(SYS_close, file));
}
}
