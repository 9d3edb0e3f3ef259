#include "net/openssl_heap_win.h"

#include <windows.h>

#include <openssl/crypto.h>

#include <cstddef>

#include "app/ui_thread.h"

namespace harbinet {
namespace {

// Never destroyed: detached threads may still use it while the process ends.
HANDLE heap = nullptr;

void* Allocate(std::size_t bytes, const char*, int) {
    return bytes == 0 ? nullptr : HeapAlloc(heap, 0, bytes);
}

void Free(void* memory, const char*, int) { HeapFree(heap, 0, memory); }

void* Reallocate(void* memory, std::size_t bytes, const char* file, int line) {
    if (memory == nullptr) return Allocate(bytes, file, line);
    if (bytes > 0) return HeapReAlloc(heap, 0, memory, bytes);
    Free(memory, file, line);
    return nullptr;
}

}  // namespace

bool GiveOpenSslItsOwnHeap() {
    AssertUiThread();
    if (heap == nullptr) heap = HeapCreate(0, 0, 0);
    return heap != nullptr && CRYPTO_set_mem_functions(Allocate, Reallocate, Free) == 1;
}

}  // namespace harbinet
