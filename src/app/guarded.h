// A value and the mutex that guards it. The only way to the value is through With, which holds the
// lock for the length of one call. Locks are never nested: a callback passed to With takes no other
// lock, does no I/O and logs nothing. Thread-safe.
#pragma once

#include <mutex>
#include <utility>

#include "app/thread_annotations.h"

namespace harbinet {

class CAPABILITY("mutex") Mutex {
public:
    void Lock() ACQUIRE() { mutex_.lock(); }
    void Unlock() RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
    ~MutexLock() RELEASE() { mutex_.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

template <typename T>
class Guarded {
public:
    Guarded() = default;
    explicit Guarded(T value) : value_(std::move(value)) {}

    // Calls `use` with the value while the lock is held and returns its result. The result must not
    // refer into the value: return a copy.
    template <typename Use>
    auto With(Use&& use) EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return std::forward<Use>(use)(value_);
    }

    template <typename Use>
    auto With(Use&& use) const EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return std::forward<Use>(use)(static_cast<const T&>(value_));
    }

private:
    mutable Mutex mutex_;
    T value_ GUARDED_BY(mutex_){};
};

}  // namespace harbinet
