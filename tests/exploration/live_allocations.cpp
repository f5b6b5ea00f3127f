// SPDX-License-Identifier: MIT
#include "tests/exploration/live_allocations.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <new>

namespace {
std::atomic<std::size_t> live{0};
}

std::size_t live_allocations() {
    return live.load(std::memory_order_relaxed);
}

std::ptrdiff_t entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (!memory)
        throw std::bad_alloc();
    live.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void operator delete(void* memory) noexcept {
    if (!memory)
        return;
    live.fetch_sub(1, std::memory_order_relaxed);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
