// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

// Mutexes that Clang's -Wthread-safety understands: it refuses code that touches a GUARDED_BY()
// member without holding the mutex. The standard library's mutexes are not annotated.

#ifdef __clang__
#define THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define THREAD_SAFETY(attribute)
#endif
#define GUARDED_BY(mutex) THREAD_SAFETY(guarded_by(mutex))
#define REQUIRES(mutex) THREAD_SAFETY(requires_capability(mutex))

/// A mutex of the standard library. Wait with std::condition_variable_any.
class THREAD_SAFETY(capability("mutex")) Mutex {
public:
    void lock() THREAD_SAFETY(acquire_capability()) { base_.lock(); }
    void unlock() THREAD_SAFETY(release_capability()) { base_.unlock(); }

private:
    std::mutex base_;
};

/// Holds a mutex while it lives.
class THREAD_SAFETY(scoped_lockable) Lock {
public:
    explicit Lock(Mutex& mutex) THREAD_SAFETY(acquire_capability(mutex)) : mutex_(mutex) {
        mutex_.lock();
    }
    ~Lock() THREAD_SAFETY(release_capability()) { mutex_.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mutex_;
};
