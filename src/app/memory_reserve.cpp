#include "app/memory_reserve.h"

#include <atomic>
#include <cstdlib>
#include <exception>
#include <new>

namespace harbinet {
namespace {

std::atomic<void*> reserve{nullptr};

[[noreturn]] void GiveBackAndThrow() {
    GiveBackMemoryReserve();
    throw std::bad_alloc();
}

}  // namespace

void KeepMemoryReserve() noexcept {
    if (reserve != nullptr) return;
    // Not by `new`, which would call the handler.
    void* const fresh = std::malloc(kMemoryReserveBytes);
    void* none = nullptr;
    if (!reserve.compare_exchange_strong(none, fresh)) std::free(fresh);
    std::set_new_handler(GiveBackAndThrow);
}

bool HasMemoryReserve() noexcept { return reserve != nullptr; }

void GiveBackMemoryReserve() noexcept { std::free(reserve.exchange(nullptr)); }

void PrepareThreadForExceptions() noexcept { static_cast<void>(std::uncaught_exceptions()); }

}  // namespace harbinet
