// An owner for every kind of Windows handle. Traits say what the handle's type is, which value
// means "none" and how it is closed; closing keeps the thread's last error.
#pragma once

#include <windows.h>

#include <utility>

namespace harbinet {

template <typename Traits>
class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() = default;
    explicit UniqueHandle(Handle handle) : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    Handle Get() const { return handle_; }
    explicit operator bool() const { return handle_ != Traits::None(); }
    Handle Release() { return std::exchange(handle_, Traits::None()); }

    void Reset(Handle handle = Traits::None()) {
        const Handle old = std::exchange(handle_, handle);
        if (old == Traits::None()) return;
        const DWORD error = GetLastError();
        Traits::Close(old);
        SetLastError(error);
    }

    // For calls that hand a handle out through a pointer; closes what was held.
    Handle* Out() {
        Reset();
        return &handle_;
    }

private:
    Handle handle_ = Traits::None();
};

// Files and folders opened with CreateFileW.
struct FileHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
using UniqueFile = UniqueHandle<FileHandleTraits>;

struct FindHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { FindClose(handle); }
};
using UniqueFind = UniqueHandle<FindHandleTraits>;

// Mutexes, tokens, processes: kernel objects whose "none" is null.
struct KernelHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return nullptr; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

struct RegistryKeyTraits {
    using Handle = HKEY;
    static Handle None() { return nullptr; }
    static void Close(Handle key) { RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyTraits>;

}  // namespace harbinet
