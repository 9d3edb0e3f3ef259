// Takes the place of operator new in the program it is linked into: counts what is taken from the
// heap, and makes single requests fail. Counting is for all threads together; failing is for the
// thread that asked for it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace harbinet::test {

// What is held now, in blocks and in bytes.
std::size_t LiveBlocks();
std::size_t LiveBytes();

// The most bytes that were held since the last ResetPeakBytes.
std::size_t PeakBytes();
void ResetPeakBytes();

// From here on every request for more than `bytes` at once fails, on every thread.
void SetLargestBlock(std::size_t bytes);

// Called on each failure, with the failing request's stack; null for nothing.
void SetFailureHook(void (*hook)());

// Which request fails: none, one, or all from one on.
struct Failure {
    std::uint64_t number = 0;  // of the first that fails, counted from 1; 0 lets all succeed
    bool and_all_later = false;
};

// While it lives, the calling thread's requests are numbered, and some of them fail.
class FailingMemory {
public:
    explicit FailingMemory(const Failure& failure);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    // Starts counting; before that every request succeeds uncounted.
    static void Start();
    // The calling thread's requests since then.
    static std::uint64_t Count();
};

// While it lives, the calling thread's requests succeed and are not numbered: for what a test
// itself needs.
class SparedMemory {
public:
    SparedMemory();
    ~SparedMemory();
    SparedMemory(const SparedMemory&) = delete;
    SparedMemory& operator=(const SparedMemory&) = delete;

private:
    const bool was_counting_;
};

// For CRYPTO_set_mem_functions: OpenSSL's requests are counted and fail like all others, with null.
void* AllocateForOpenSsl(std::size_t bytes, const char* file, int line);
void* ReallocateForOpenSsl(void* memory, std::size_t bytes, const char* file, int line);
void FreeForOpenSsl(void* memory, const char* file, int line);

}  // namespace harbinet::test
