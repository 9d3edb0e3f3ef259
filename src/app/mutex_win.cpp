#include <windows.h>

#include "app/mutex.h"

namespace harbinet {
namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && alignof(SRWLOCK) == alignof(void*));

}  // namespace

void Mutex::Lock() noexcept { AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK*>(&state_)); }

void Mutex::Unlock() noexcept { ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(&state_)); }

}  // namespace harbinet
