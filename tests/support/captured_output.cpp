// SPDX-License-Identifier: MIT
#include "tests/support/captured_output.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

CapturedOutput::CapturedOutput()
    : saved_(dup(STDOUT_FILENO)), file_(memfd_create("captured output", MFD_CLOEXEC)) {
    std::fflush(stdout);
    if (saved_ < 0 || file_ < 0 || dup2(file_, STDOUT_FILENO) < 0)
        std::abort();
}

CapturedOutput::~CapturedOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    close(file_);
}

std::string CapturedOutput::take() {
    std::fflush(stdout);
    const off_t size = lseek(file_, 0, SEEK_CUR);
    std::string text(static_cast<std::size_t>(size), '\0');
    const ssize_t got = pread(file_, text.data(), text.size(), 0);
    if (got != size || ftruncate(file_, 0) != 0 || lseek(file_, 0, SEEK_SET) != 0)
        std::abort();
    return text;
}
