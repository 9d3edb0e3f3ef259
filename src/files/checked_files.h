// Stands before a file system and lets only paths through that name files and folders on a disk
// (files/windows_names.h): for every other path each call fails like one for a missing file, and
// nothing is opened. Any thread.
#pragma once

#include "files/file_system.h"

namespace harbinet {

class CheckedFiles final : public FileSystem {
public:
    // `system` must outlive this.
    explicit CheckedFiles(FileSystem& system) : system_(system) {}

    PathKind Kind(const std::wstring& path) override;
    std::optional<FileInfo> Info(const std::wstring& path) override;
    // Text only: what a path names is asked when it is used.
    std::wstring FullPath(const std::wstring& path) override { return system_.FullPath(path); }
    bool List(const std::wstring& folder,
              const std::function<void(const DirectoryEntry&)>& visit) override;
    std::unique_ptr<ReadableFile> OpenForReading(const std::wstring& path) override;
    std::unique_ptr<WritableFile> CreateForWriting(const std::wstring& path) override;
    bool RemoveFile(const std::wstring& path) override;
    bool RemoveFolder(const std::wstring& path) override;
    void CreateFolders(const std::wstring& path) override;

private:
    bool MayCreate(std::wstring path);

    FileSystem& system_;
};

}  // namespace harbinet
