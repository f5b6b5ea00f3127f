// SPDX-License-Identifier: MIT
#include "bench/allocations.h"

#include <cstddef>

thread_local std::uint64_t allocations = 0;
std::atomic<std::uint64_t> all_allocations = 0;

#ifdef __has_feature
#define KEYLOFT_OTHER_MEMORY __has_feature(address_sanitizer)
#else
#define KEYLOFT_OTHER_MEMORY 0
#endif

#if !KEYLOFT_OTHER_MEMORY

namespace {

void count_one() {
    ++allocations;
    all_allocations.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

extern "C" {

// The C library's own, under the names that remain when these are replaced.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) {
    count_one();
    return __libc_malloc(size);
}

void* calloc(size_t number, size_t size) {
    count_one();
    return __libc_calloc(number, size);
}

void* realloc(void* memory, size_t size) {
    count_one();
    return __libc_realloc(memory, size);
}
}

#endif
