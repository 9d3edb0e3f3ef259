// A file system in memory: a tree of folders and files under full Windows paths, compared without
// regard to ASCII case. Each call can be made to fail. For one thread.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "files/file_system.h"

namespace harbinet::test {

enum class FileCall {
    kKind,
    kInfo,
    kFullPath,
    kList,
    kOpenForReading,
    kSize,
    kRead,
    kCreateForWriting,
    kWrite,
    kRemoveFile,
    kRemoveFolder,
    kCreateFolders,
};

struct FakeFile {
    bool is_directory = false;
    bool is_read_only = false;
    std::string content;
    // When set, the file claims to have this size and reads as that many "z".
    std::optional<std::uint64_t> claimed_size;
    LocalTime modified{2026, 1, 2, 9, 7, 5, 0};
};

class FakeFileSystem final : public FileSystem {
public:
    // Parents are not made: a test says what exists.
    void AddFolder(const std::wstring& path);
    FakeFile& AddFile(const std::wstring& path, std::string content);
    void Remove(const std::wstring& path);

    bool Exists(const std::wstring& path) const { return Find(path) != nullptr; }
    // Of a file that exists; "(missing)" otherwise.
    std::string Content(const std::wstring& path) const;
    FakeFile& At(const std::wstring& path) { return *Find(path); }
    // Of every file and folder.
    std::vector<std::wstring> Paths() const;

    // The call after `successes` more of its kind fails, once.
    void FailOnce(FileCall call, int successes = 0) { failures_[call] = successes; }

    // Called before each read, with the number of reads so far.
    std::function<void(int)> before_read;
    int open_files = 0;
    int reads = 0;
    std::size_t largest_read = 0;

    PathKind Kind(const std::wstring& path) override;
    std::optional<FileInfo> Info(const std::wstring& path) override;
    std::wstring FullPath(const std::wstring& path) override;
    bool List(const std::wstring& folder,
              const std::function<void(const DirectoryEntry&)>& visit) override;
    std::unique_ptr<ReadableFile> OpenForReading(const std::wstring& path) override;
    std::unique_ptr<WritableFile> CreateForWriting(const std::wstring& path) override;
    bool RemoveFile(const std::wstring& path) override;
    bool RemoveFolder(const std::wstring& path) override;
    void CreateFolders(const std::wstring& path) override;

private:
    friend class FakeReadableFile;
    friend class FakeWritableFile;

    bool Fails(FileCall call);
    FakeFile* Find(const std::wstring& path) const;
    bool HasEntries(const std::wstring& folder) const;

    // In the order of their making, which is the order of listings.
    std::vector<std::pair<std::wstring, std::shared_ptr<FakeFile>>> entries_;
    std::map<FileCall, int> failures_;
};

}  // namespace harbinet::test
