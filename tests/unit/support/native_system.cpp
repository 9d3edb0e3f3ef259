// What the Windows files of app/ supply, as far as portable tests need it natively.
#include <cstdint>
#include <cstring>
#include <new>

#include "app/clock.h"
#include "app/encoding.h"
#include "app/large_buffer.h"
#include "app/mutex.h"

namespace harbinet {

void Mutex::Lock() noexcept { state_.lock(); }

void Mutex::Unlock() noexcept { state_.unlock(); }

void* AllocatePages(std::size_t bytes) {
    // Like every other block, so that a test that makes allocations fail reaches these too.
    void* const memory = ::operator new(bytes);
    return std::memset(memory, 0, bytes);
}

void FreePages(void* memory) noexcept { ::operator delete(memory); }

LocalTime SystemLocalTime() { return {2026, 1, 5, 9, 7, 3, 42}; }

std::wstring Utf8ToWide(std::string_view utf8) {
    std::wstring wide;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const std::size_t length = lead < 0x80   ? 1
                                   : lead < 0xC2 ? 0
                                   : lead < 0xE0 ? 2
                                   : lead < 0xF0 ? 3
                                   : lead < 0xF5 ? 4
                                                 : 0;
        std::uint32_t code = length <= 1 ? lead : lead & (0xFFU >> (length + 1));
        bool valid = length > 0 && i + length <= utf8.size();
        for (std::size_t k = 1; valid && k < length; ++k) {
            const auto next = static_cast<unsigned char>(utf8[i + k]);
            valid = (next & 0xC0) == 0x80;
            code = code << 6 | (next & 0x3FU);
        }
        wide += valid ? static_cast<wchar_t>(code) : L'\uFFFD';
        i += valid ? length : 1;
    }
    return wide;
}

std::string WideToUtf8(std::wstring_view wide) {
    std::string utf8;
    for (const wchar_t c : wide) {
        auto code = static_cast<std::uint32_t>(c);
        if (code >= 0xD800 && code < 0xE000) code = 0xFFFD;
        if (code < 0x80) {
            utf8 += static_cast<char>(code);
            continue;
        }
        const int trailing = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        utf8 += static_cast<char>((0xF0U << (3 - trailing) & 0xFF) | code >> (6 * trailing));
        for (int shift = 6 * (trailing - 1); shift >= 0; shift -= 6) {
            utf8 += static_cast<char>(0x80U | (code >> shift & 0x3FU));
        }
    }
    return utf8;
}

std::string WideToAnsi(std::wstring_view wide) { return WideToUtf8(wide); }
std::wstring AnsiToWide(std::string_view ansi) { return Utf8ToWide(ansi); }

}  // namespace harbinet

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// libstdc++ 12 gives the lock inside std::atomic<std::shared_ptr> back with relaxed order after a
// load, so the sanitizer cannot see that a store waits for it.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() { return "race:std::_Sp_atomic\n"; }
#endif
#endif
