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

// NOLINTBEGIN(cppcoreguidelines-no-malloc, cppcoreguidelines-owning-memory): `new` would call the
// handler.
void KeepMemoryReserve() noexcept {
    if (reserve != nullptr) return;
    void* const fresh = std::malloc(kMemoryReserveBytes);
    void* none = nullptr;
    if (!reserve.compare_exchange_strong(none, fresh)) std::free(fresh);
    std::set_new_handler(GiveBackAndThrow);
}

void GiveBackMemoryReserve() noexcept { std::free(reserve.exchange(nullptr)); }
// NOLINTEND(cppcoreguidelines-no-malloc, cppcoreguidelines-owning-memory)

bool HasMemoryReserve() noexcept { return reserve != nullptr; }

void PrepareThreadForExceptions() noexcept { static_cast<void>(std::uncaught_exceptions()); }

}  // namespace harbinet
