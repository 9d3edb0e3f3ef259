// The file system as the file endpoints see it: one method for each call they make, so that every
// endpoint is portable and each call can fail in a test. Paths are UTF-16 full paths. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "app/clock.h"

namespace harbinet {

enum class PathKind { kMissing, kFile, kFolder };

struct DirectoryEntry {
    std::wstring_view name;  // valid during the callback only
    bool is_directory = false;
    std::uint64_t size = 0;  // bytes; files only
};

struct FileInfo {
    bool is_directory = false;
    std::uint64_t size = 0;  // bytes
    LocalTime modified;      // the last write, in local time
};

class ReadableFile {
public:
    virtual ~ReadableFile() = default;
    // Bytes, or nothing when the system does not tell.
    virtual std::optional<std::uint64_t> Size() = 0;
    // The bytes read, at most buffer.size(): 0 at the end of the file, nothing when the read
    // failed.
    virtual std::optional<std::size_t> Read(std::span<char> buffer) = 0;
};

class WritableFile {
public:
    // Closes the file.
    virtual ~WritableFile() = default;
    // Hands the bytes to the system at once. False when not every byte could be written.
    virtual bool Write(std::string_view bytes) = 0;
};

class FileSystem {
public:
    virtual ~FileSystem() = default;

    // What stands at the path.
    virtual PathKind Kind(const std::wstring& path) = 0;
    virtual std::optional<FileInfo> Info(const std::wstring& path) = 0;

    // The normalised full path in at most 259 characters; empty when it does not fit.
    virtual std::wstring FullPath(const std::wstring& path) = 0;

    // Calls `visit` for each entry but "." and "..", in the system's order. False when the folder
    // cannot be opened.
    virtual bool List(const std::wstring& folder,
                      const std::function<void(const DirectoryEntry&)>& visit) = 0;

    // Null when the file cannot be opened. Others may read, write and delete it meanwhile.
    virtual std::unique_ptr<ReadableFile> OpenForReading(const std::wstring& path) = 0;
    // Creates or truncates; null when that fails.
    virtual std::unique_ptr<WritableFile> CreateForWriting(const std::wstring& path) = 0;

    virtual bool RemoveFile(const std::wstring& path) = 0;
    // Empty folders only.
    virtual bool RemoveFolder(const std::wstring& path) = 0;
    // Creates the folder with every missing parent; errors are ignored.
    virtual void CreateFolders(const std::wstring& path) = 0;
};

// The real one, over Win32. Lives as long as the process.
FileSystem& SystemFiles();

}  // namespace harbinet
