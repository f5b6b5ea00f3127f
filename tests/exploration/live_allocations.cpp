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

void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory)
        live.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void* operator new(std::size_t size) {
    if (void* const memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    if (memory)
        live.fetch_sub(1, std::memory_order_relaxed);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
