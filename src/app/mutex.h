// The lock under Guarded. On Windows a slim reader/writer lock of the system, taken exclusively: it
// needs neither memory nor a handle, so locking cannot fail, where MinGW's std::mutex allocates on
// its first use and throws without memory. Elsewhere std::mutex, which the sanitizers know. Not
// recursive. Any thread.
#pragma once

#if !defined(_WIN32)
#include <mutex>
#endif

#include "app/thread_annotations.h"

namespace harbinet {

class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() noexcept ACQUIRE();
    void Unlock() noexcept RELEASE();

private:
#if defined(_WIN32)
    void* state_ = nullptr;  // an SRWLOCK, whose start value is null
#else
    std::mutex state_;
#endif
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

}  // namespace harbinet
