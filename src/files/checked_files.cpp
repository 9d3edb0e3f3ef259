#include "files/checked_files.h"

#include "files/windows_names.h"

namespace harbinet {

PathKind CheckedFiles::Kind(const std::wstring& path) {
    return NamesFileOnDisk(path) ? system_.Kind(path) : PathKind::kMissing;
}

std::optional<FileInfo> CheckedFiles::Info(const std::wstring& path) {
    return NamesFileOnDisk(path) ? system_.Info(path) : std::nullopt;
}

bool CheckedFiles::List(const std::wstring& folder,
                        const std::function<void(const DirectoryEntry&)>& visit) {
    return NamesFileOnDisk(folder) && system_.List(folder, visit);
}

std::unique_ptr<ReadableFile> CheckedFiles::OpenForReading(const std::wstring& path) {
    return NamesFileOnDisk(path) ? system_.OpenForReading(path) : nullptr;
}

std::unique_ptr<WritableFile> CheckedFiles::CreateForWriting(const std::wstring& path) {
    return NamesFileOnDisk(path) ? system_.CreateForWriting(path) : nullptr;
}

bool CheckedFiles::RemoveFile(const std::wstring& path) {
    return NamesFileOnDisk(path) && system_.RemoveFile(path);
}

bool CheckedFiles::RemoveFolder(const std::wstring& path) {
    return NamesFileOnDisk(path) && system_.RemoveFolder(path);
}

void CheckedFiles::CreateFolders(const std::wstring& path) {
    if (MayCreate(path)) system_.CreateFolders(path);
}

// Each parent that is missing would be made under its own name, so each is looked at, up to the
// first that exists.
bool CheckedFiles::MayCreate(std::wstring path) {
    while (NamesFileOnDisk(path)) {
        const std::size_t separator = path.find_last_of(L"\\/");
        if (separator == std::wstring::npos) return true;
        path.resize(separator);
        // Nothing but the prefix is left.
        if (path.empty() || path.ends_with(L':')) return true;
        if (NamesFileOnDisk(path) && system_.Kind(path) != PathKind::kMissing) return true;
    }
    return false;
}

}  // namespace harbinet
