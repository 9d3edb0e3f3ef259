// Buffers for what comes and goes in large blocks: the bodies that connections carry, the log
// window's text. A large one is memory of its own that goes back to the system at once. The heap
// would keep what a busy hour took, and grow with each block that fits into none of the gaps
// between the small ones that stay. Thread-safe.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace harbinet {

// Whole pages of zeros. Throws std::bad_alloc.
void* AllocatePages(std::size_t bytes);
// What AllocatePages returned.
void FreePages(void* memory) noexcept;

// Below this a block comes from the heap.
inline constexpr std::size_t kLargeBufferBytes = 16 * 1024;

template <typename T>
class LargeBufferAllocator {
public:
    using value_type = T;

    LargeBufferAllocator() = default;
    template <typename U>
    explicit LargeBufferAllocator(const LargeBufferAllocator<U>&) {}

    // NOLINTBEGIN(readability-identifier-naming): the names that containers call.
    T* allocate(std::size_t count) {
        const std::size_t bytes = count * sizeof(T);
        return static_cast<T*>(bytes < kLargeBufferBytes ? ::operator new(bytes)
                                                         : AllocatePages(bytes));
    }

    void deallocate(T* memory, std::size_t count) noexcept {
        if (count * sizeof(T) < kLargeBufferBytes) {
            ::operator delete(memory);
        } else {
            FreePages(memory);
        }
    }

    // New elements are left as the memory is: nobody reads a buffer before it was filled, and pages
    // that no client needs are never touched.
    template <typename U>
    void construct(U* element) noexcept {
        ::new (static_cast<void*>(element)) U;
    }
    // NOLINTEND(readability-identifier-naming)

    friend bool operator==(const LargeBufferAllocator&, const LargeBufferAllocator&) {
        return true;
    }
};

// Its new bytes are undefined until they are written.
using LargeBuffer = std::vector<char, LargeBufferAllocator<char>>;

using LargeText =
    std::basic_string<wchar_t, std::char_traits<wchar_t>, LargeBufferAllocator<wchar_t>>;

inline void Append(LargeBuffer& buffer, std::string_view bytes) {
    const std::size_t size = buffer.size();
    buffer.resize(size + bytes.size());
    std::copy_n(bytes.data(), bytes.size(), buffer.data() + size);
}

}  // namespace harbinet
