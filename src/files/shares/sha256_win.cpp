#include <windows.h>

#include <bcrypt.h>

#include <vector>

#include "app/unique_handle_win.h"
#include "files/shares/share_table.h"

namespace harbinet {
namespace {

struct AlgorithmTraits {
    using Handle = BCRYPT_ALG_HANDLE;
    static Handle None() { return nullptr; }
    static void Close(Handle algorithm) { BCryptCloseAlgorithmProvider(algorithm, 0); }
};

using UniqueHash = UniqueHandle<NullableTraits<BCRYPT_HASH_HANDLE, BCryptDestroyHash>>;

// 0 when the property cannot be read.
ULONG LengthProperty(BCRYPT_ALG_HANDLE algorithm, const wchar_t* name) {
    DWORD value = 0;
    ULONG written = 0;
    const NTSTATUS status = BCryptGetProperty(algorithm, name, reinterpret_cast<UCHAR*>(&value),
                                              sizeof value, &written, 0);
    return BCRYPT_SUCCESS(status) ? value : 0;
}

}  // namespace

std::string SystemSha256(std::string_view text) {
    UniqueHandle<AlgorithmTraits> algorithm;
    if (!BCRYPT_SUCCESS(
            BCryptOpenAlgorithmProvider(algorithm.Out(), BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
        return {};
    }
    std::vector<UCHAR> object(LengthProperty(algorithm.Get(), BCRYPT_OBJECT_LENGTH));
    std::string digest(LengthProperty(algorithm.Get(), BCRYPT_HASH_LENGTH), '\0');
    if (object.empty() || digest.empty()) return {};

    // Declared after its object buffer: the hash must go first.
    UniqueHash hash;
    // CNG takes its input as a pointer to non-constant bytes and does not change them.
    auto* input = reinterpret_cast<UCHAR*>(const_cast<char*>(text.data()));
    const bool finished =
        BCRYPT_SUCCESS(BCryptCreateHash(algorithm.Get(), hash.Out(), object.data(),
                                        static_cast<ULONG>(object.size()), nullptr, 0, 0)) &&
        BCRYPT_SUCCESS(BCryptHashData(hash.Get(), input, static_cast<ULONG>(text.size()), 0)) &&
        BCRYPT_SUCCESS(BCryptFinishHash(hash.Get(), reinterpret_cast<UCHAR*>(digest.data()),
                                        static_cast<ULONG>(digest.size()), 0));
    return finished ? digest : std::string();
}

}  // namespace harbinet
