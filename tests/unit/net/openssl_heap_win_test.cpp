#include "net/openssl_heap_win.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <openssl/crypto.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "net/openssl_init.h"

namespace harbinet {
namespace {

// The heap that holds the block, or null.
HANDLE HeapOf(const void* block) {
    std::array<HANDLE, 64> heaps{};
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    for (DWORD index = 0; index < count && index < heaps.size(); ++index) {
        if (HeapValidate(heaps[index], 0, block)) return heaps[index];
    }
    return nullptr;
}

// A death test begins in a process of its own, in which nobody has used OpenSSL yet.
class OpenSslHeapDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// 0 when all of it holds, or the number of the first check that does not.
int CheckHeaps() {
    if (!GiveOpenSslItsOwnHeap()) return 1;
    void* const ours = std::malloc(100);
    void* block = OPENSSL_malloc(100);
    const HANDLE heap = HeapOf(block);
    if (heap == nullptr || heap == HeapOf(ours) || heap == GetProcessHeap()) return 2;
    std::memset(block, 'x', 100);
    block = OPENSSL_realloc(block, 50'000);
    if (HeapOf(block) != heap || std::memcmp(block, "xxxx", 4) != 0) return 3;
    if (OPENSSL_realloc(block, 0) != nullptr || OPENSSL_malloc(0) != nullptr) return 4;
    block = OPENSSL_realloc(nullptr, 100);
    if (HeapOf(block) != heap) return 5;
    OPENSSL_free(block);
    OPENSSL_free(nullptr);
    std::free(ours);
    InitOpenSsl();
    return HeapValidate(heap, 0, nullptr) ? 0 : 6;
}

TEST_F(OpenSslHeapDeathTest, MemoryOfOpenSslIsInAHeapThatNobodyElseUses) {
    EXPECT_EXIT(std::_Exit(CheckHeaps()), testing::ExitedWithCode(0), "");
}

TEST_F(OpenSslHeapDeathTest, WhoComesTooLateIsTold) {
    EXPECT_EXIT(
        {
            InitOpenSsl();
            std::_Exit(GiveOpenSslItsOwnHeap() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace harbinet
