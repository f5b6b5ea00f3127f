// SPDX-License-Identifier: MIT
#include "ctl/port_lock.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

PortLock::PortLock(const std::string& folder, const std::string& address) {
    descriptor_ =
        open(lock_path(folder, address).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor_ < 0)
        error_ = errno;
    else
        take();
}

PortLock::~PortLock() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

void PortLock::try_again() {
    if (holder_)
        take();
}

void PortLock::take() {
    holder_.reset();
    // A record lock, because the kernel tells who has it.
    for (;;) {
        struct flock whole {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        if (fcntl(descriptor_, F_SETLK, &whole) == 0) {
            held_ = true;
            return;
        }
        if (errno != EACCES && errno != EAGAIN) {
            error_ = errno;
            return;
        }
        if (fcntl(descriptor_, F_GETLK, &whole) == 0 && whole.l_type != F_UNLCK) {
            holder_ = whole.l_pid;
            return;
        }
        // It was given up in between.
    }
}

std::string lock_path(const std::string& folder, const std::string& address) {
    return folder + "/keyloftctl-" + address + ".lock";
}

std::optional<std::string> lock_folder() {
    const char* const folder = secure_getenv("XDG_RUNTIME_DIR");
    if (folder == nullptr || *folder != '/')
        return std::nullopt;
    return folder;
}
