#include <windows.h>

#include <shlobj.h>

#include <algorithm>

#include "app/immortal.h"
#include "app/unique_handle_win.h"
#include "files/checked_files.h"
#include "files/file_system.h"
#include "files/names.h"

namespace harbinet {
namespace {

// Others may do everything with a file meanwhile: the desktop user is never locked out.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// One system call's worth; DWORD counts would allow little more.
constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 30;

std::uint64_t Join32(DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; }

bool IsDirectoryAttribute(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

LocalTime ToLocalTime(const FILETIME& utc) {
    FILETIME local{};
    SYSTEMTIME time{};
    FileTimeToLocalFileTime(&utc, &local);
    FileTimeToSystemTime(&local, &time);
    return {time.wYear,   time.wMonth,  time.wDay,         time.wHour,
            time.wMinute, time.wSecond, time.wMilliseconds};
}

// Null for what is no file on a disk, whatever its name. `flags` may hold attributes too.
UniqueFile OpenFile(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags) {
    UniqueFile file(CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL | flags, nullptr));
    if (file && GetFileType(file.Get()) != FILE_TYPE_DISK) file.Reset();
    return file;
}

class WindowsReadableFile final : public ReadableFile {
public:
    explicit WindowsReadableFile(UniqueFile file) : file_(std::move(file)) {}

    std::optional<std::uint64_t> Size() override {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(file_.Get(), &size)) return std::nullopt;
        return static_cast<std::uint64_t>(size.QuadPart);
    }

    std::optional<std::size_t> Read(std::span<char> buffer) override {
        const auto wanted = static_cast<DWORD>(std::min(buffer.size(), kMaxTransferBytes));
        DWORD count = 0;
        if (!ReadFile(file_.Get(), buffer.data(), wanted, &count, nullptr)) return std::nullopt;
        return count;
    }

private:
    UniqueFile file_;
};

// The attributes under which an existing file may be replaced: without them the system refuses to
// replace a hidden or a system file. They stay, as the desktop user has set them.
DWORD ReplaceableAttributes(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return 0;
    return attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
}

class WindowsWritableFile final : public WritableFile {
public:
    explicit WindowsWritableFile(UniqueFile file) : file_(std::move(file)) {}

    bool Write(std::string_view bytes) override {
        while (!bytes.empty()) {
            const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMaxTransferBytes));
            DWORD count = 0;
            if (!WriteFile(file_.Get(), bytes.data(), wanted, &count, nullptr) || count == 0) {
                return false;
            }
            bytes.remove_prefix(count);
        }
        return true;
    }

private:
    UniqueFile file_;
};

// Sees only paths that CheckedFiles has let through.
class WindowsFileSystem final : public FileSystem {
public:
    PathKind Kind(const std::wstring& path) override {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) return PathKind::kMissing;
        return IsDirectoryAttribute(attributes) ? PathKind::kFolder : PathKind::kFile;
    }

    std::optional<FileInfo> Info(const std::wstring& path) override {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
        return FileInfo{IsDirectoryAttribute(data.dwFileAttributes),
                        Join32(data.nFileSizeHigh, data.nFileSizeLow),
                        ToLocalTime(data.ftLastWriteTime)};
    }

    std::wstring FullPath(const std::wstring& path) override {
        // The system would end the path there.
        if (path.find(L'\0') != std::wstring::npos) return {};
        // Windows refuses longer ones; elsewhere many "./" in them hold the thread for long.
        if (path.size() > kMaxPathLength) return {};
        wchar_t buffer[MAX_PATH] = {};
        const DWORD length =
            GetFullPathNameW(path.c_str(), static_cast<DWORD>(std::size(buffer)), buffer, nullptr);
        // A length that does not fit is the room that would be needed.
        return length < std::size(buffer) ? std::wstring(buffer, length) : std::wstring();
    }

    bool List(const std::wstring& folder,
              const std::function<void(const DirectoryEntry&)>& visit) override {
        WIN32_FIND_DATAW data{};
        const UniqueFind find(FindFirstFileW(JoinDirName(folder, L"*").c_str(), &data));
        if (!find) return false;
        do {
            const std::wstring_view name = data.cFileName;
            if (name == L"." || name == L"..") continue;
            visit({name, IsDirectoryAttribute(data.dwFileAttributes),
                   Join32(data.nFileSizeHigh, data.nFileSizeLow)});
        } while (FindNextFileW(find.Get(), &data));
        return true;
    }

    std::unique_ptr<ReadableFile> OpenForReading(const std::wstring& path) override {
        UniqueFile file = OpenFile(path, GENERIC_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
        if (!file) return nullptr;
        return std::make_unique<WindowsReadableFile>(std::move(file));
    }

    std::unique_ptr<WritableFile> CreateForWriting(const std::wstring& path) override {
        UniqueFile file = OpenFile(path, GENERIC_WRITE, CREATE_ALWAYS, ReplaceableAttributes(path));
        if (!file) return nullptr;
        return std::make_unique<WindowsWritableFile>(std::move(file));
    }

    bool RemoveFile(const std::wstring& path) override { return DeleteFileW(path.c_str()) != 0; }

    bool RemoveFolder(const std::wstring& path) override {
        return RemoveDirectoryW(path.c_str()) != 0;
    }

    void CreateFolders(const std::wstring& path) override {
        SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
    }
};

}  // namespace

FileSystem& SystemFiles() {
    struct CheckedSystemFiles {
        WindowsFileSystem system;
        CheckedFiles checked{system};
    };
    return Immortal<CheckedSystemFiles>().checked;
}

}  // namespace harbinet
