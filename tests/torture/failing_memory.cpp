#include "failing_memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace harbinet::test {
namespace {

// Stands before each block; as long as the strictest alignment of an ordinary block.
struct alignas(std::max_align_t) BlockHead {
    std::size_t bytes;
};

std::atomic<std::size_t> live_blocks{0};
std::atomic<std::size_t> live_bytes{0};
std::atomic<std::size_t> peak_bytes{0};
std::atomic<std::size_t> largest_block{SIZE_MAX};
void (*failure_hook)() = nullptr;

struct ThreadState {
    bool counting = false;
    std::uint64_t count = 0;
    Failure failure;
};
thread_local ThreadState thread_state;

bool Fails(std::size_t bytes) {
    if (bytes > largest_block) return true;
    if (!thread_state.counting) return false;
    const std::uint64_t number = ++thread_state.count;
    const Failure& failure = thread_state.failure;
    const bool fails =
        number == failure.number || (failure.and_all_later && number > failure.number);
    if (fails && failure_hook != nullptr) {
        const SparedMemory spared;
        failure_hook();
    }
    return fails;
}

void* Take(std::size_t bytes) noexcept {
    if (Fails(bytes)) return nullptr;
    void* const memory = std::malloc(sizeof(BlockHead) + bytes);
    if (memory == nullptr) return nullptr;
    auto* const head = ::new (memory) BlockHead{bytes};
    ++live_blocks;
    const std::size_t now = live_bytes += bytes;
    std::size_t peak = peak_bytes;
    while (now > peak && !peak_bytes.compare_exchange_weak(peak, now)) {
    }
    return head + 1;
}

BlockHead* HeadOf(void* memory) { return static_cast<BlockHead*>(memory) - 1; }

void GiveBack(void* memory) noexcept {
    if (memory == nullptr) return;
    --live_blocks;
    live_bytes -= HeadOf(memory)->bytes;
    std::free(HeadOf(memory));
}

void* TakeOrThrow(std::size_t bytes) {
    void* const memory = Take(bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

std::size_t LiveBlocks() { return live_blocks; }
std::size_t LiveBytes() { return live_bytes; }
std::size_t PeakBytes() { return peak_bytes; }
void ResetPeakBytes() { peak_bytes = live_bytes.load(); }
void SetLargestBlock(std::size_t bytes) { largest_block = bytes; }

void SetFailureHook(void (*hook)()) { failure_hook = hook; }

FailingMemory::FailingMemory(const Failure& failure) { thread_state = {false, 0, failure}; }
FailingMemory::~FailingMemory() { thread_state = {}; }
void FailingMemory::Start() { thread_state.counting = true; }
std::uint64_t FailingMemory::Count() { return thread_state.count; }

SparedMemory::SparedMemory() : was_counting_(thread_state.counting) {
    thread_state.counting = false;
}
SparedMemory::~SparedMemory() { thread_state.counting = was_counting_; }

void* AllocateForOpenSsl(std::size_t bytes, const char*, int) { return Take(bytes); }

void* ReallocateForOpenSsl(void* memory, std::size_t bytes, const char*, int) {
    if (memory == nullptr) return Take(bytes);
    if (bytes == 0) {
        GiveBack(memory);
        return nullptr;
    }
    void* const moved = Take(bytes);
    if (moved == nullptr) return nullptr;
    std::memcpy(moved, memory, std::min(bytes, HeadOf(memory)->bytes));
    GiveBack(memory);
    return moved;
}

void FreeForOpenSsl(void* memory, const char*, int) { GiveBack(memory); }

}  // namespace harbinet::test

using harbinet::test::GiveBack;
using harbinet::test::Take;
using harbinet::test::TakeOrThrow;

void* operator new(std::size_t bytes) { return TakeOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return TakeOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return Take(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return Take(bytes); }
void operator delete(void* memory) noexcept { GiveBack(memory); }
void operator delete[](void* memory) noexcept { GiveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { GiveBack(memory); }
void operator delete[](void* memory, std::size_t) noexcept { GiveBack(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { GiveBack(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { GiveBack(memory); }
