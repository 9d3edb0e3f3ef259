#include <windows.h>

#include "app/large_buffer.h"
#include "app/memory_reserve.h"

namespace harbinet {

void* AllocatePages(std::size_t bytes) {
    void* const memory = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!memory) {
        GiveBackMemoryReserve();
        throw std::bad_alloc();
    }
    return memory;
}

void FreePages(void* memory) noexcept { VirtualFree(memory, 0, MEM_RELEASE); }

}  // namespace harbinet
