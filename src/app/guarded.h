// A value and the mutex that guards it. The only way to the value is through With, which holds the
// lock for the length of one call. Locks are never nested: a callback passed to With takes no other
// lock, does no I/O and logs nothing. Thread-safe.
#pragma once

#include <utility>

#include "app/mutex.h"
#include "app/thread_annotations.h"

namespace harbinet {

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
