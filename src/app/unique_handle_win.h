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

// Most handles: "none" is null.
template <typename Object, auto CloseObject>
struct NullableTraits {
    using Handle = Object;
    static Handle None() { return nullptr; }
    static void Close(Handle object) { CloseObject(object); }
};

// Mutexes, tokens, processes.
using UniqueKernelHandle = UniqueHandle<NullableTraits<HANDLE, CloseHandle>>;
using UniqueRegistryKey = UniqueHandle<NullableTraits<HKEY, RegCloseKey>>;

// What CreateFileW and FindFirstFileW give.
template <auto CloseFile>
struct FileTraits {
    using Handle = HANDLE;
    static Handle None() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle file) { CloseFile(file); }
};
using UniqueFile = UniqueHandle<FileTraits<CloseHandle>>;  // files and folders
using UniqueFind = UniqueHandle<FileTraits<FindClose>>;

}  // namespace harbinet
