#include "support/fake_file_system.h"

#include <algorithm>

namespace harbinet::test {
namespace {

std::wstring Key(std::wstring path) {
    while (path.ends_with(L'\\')) path.pop_back();
    for (wchar_t& c : path) {
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
    }
    return path;
}

std::uint64_t SizeOf(const FakeFile& file) {
    return file.claimed_size.value_or(file.content.size());
}

// The parent's key; the name is what stands behind it.
std::wstring ParentKey(const std::wstring& path) {
    return Key(path.substr(0, std::min(path.rfind(L'\\'), path.size())));
}

}  // namespace

class FakeReadableFile final : public ReadableFile {
public:
    FakeReadableFile(FakeFileSystem& files, std::shared_ptr<FakeFile> file)
        : files_(files), file_(std::move(file)) {
        ++files_.open_files;
    }
    ~FakeReadableFile() override { --files_.open_files; }

    std::optional<std::uint64_t> Size() override {
        if (files_.Fails(FileCall::kSize)) return std::nullopt;
        return SizeOf(*file_);
    }

    std::optional<std::size_t> Read(std::span<char> buffer) override {
        if (files_.before_read) files_.before_read(files_.reads);
        ++files_.reads;
        files_.largest_read = std::max(files_.largest_read, buffer.size());
        if (files_.Fails(FileCall::kRead)) return std::nullopt;
        const std::uint64_t left = SizeOf(*file_) - std::min(SizeOf(*file_), position_);
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
        if (file_->claimed_size) {
            std::fill_n(buffer.data(), count, 'z');
        } else {
            std::copy_n(
                file_->content.data() + std::min<std::uint64_t>(position_, file_->content.size()),
                count, buffer.data());
        }
        position_ += count;
        return count;
    }

private:
    FakeFileSystem& files_;
    const std::shared_ptr<FakeFile> file_;
    std::uint64_t position_ = 0;
};

class FakeWritableFile final : public WritableFile {
public:
    FakeWritableFile(FakeFileSystem& files, std::shared_ptr<FakeFile> file)
        : files_(files), file_(std::move(file)) {
        ++files_.open_files;
    }
    ~FakeWritableFile() override { --files_.open_files; }

    bool Write(std::string_view bytes) override {
        if (files_.Fails(FileCall::kWrite)) return false;
        file_->content += bytes;
        return true;
    }

private:
    FakeFileSystem& files_;
    const std::shared_ptr<FakeFile> file_;
};

void FakeFileSystem::AddFolder(const std::wstring& path) {
    auto folder = std::make_shared<FakeFile>();
    folder->is_directory = true;
    entries_.emplace_back(path, std::move(folder));
}

FakeFile& FakeFileSystem::AddFile(const std::wstring& path, std::string content) {
    Remove(path);
    auto file = std::make_shared<FakeFile>();
    file->content = std::move(content);
    entries_.emplace_back(path, file);
    return *file;
}

void FakeFileSystem::Remove(const std::wstring& path) {
    std::erase_if(entries_,
                  [key = Key(path)](const auto& entry) { return Key(entry.first) == key; });
}

std::string FakeFileSystem::Content(const std::wstring& path) const {
    const FakeFile* file = Find(path);
    return file != nullptr ? file->content : "(missing)";
}

std::vector<std::wstring> FakeFileSystem::Paths() const {
    std::vector<std::wstring> paths;
    for (const auto& [path, file] : entries_) paths.push_back(path);
    return paths;
}

bool FakeFileSystem::Fails(FileCall call) {
    const auto failure = failures_.find(call);
    if (failure == failures_.end() || failure->second-- > 0) return false;
    failures_.erase(failure);
    return true;
}

FakeFile* FakeFileSystem::Find(const std::wstring& path) const {
    const std::wstring key = Key(path);
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&key](const auto& entry) { return Key(entry.first) == key; });
    return found == entries_.end() ? nullptr : found->second.get();
}

bool FakeFileSystem::HasEntries(const std::wstring& folder) const {
    return std::any_of(entries_.begin(), entries_.end(), [key = Key(folder)](const auto& entry) {
        return ParentKey(entry.first) == key;
    });
}

PathKind FakeFileSystem::Kind(const std::wstring& path) {
    const FakeFile* file = Fails(FileCall::kKind) ? nullptr : Find(path);
    if (file == nullptr) return PathKind::kMissing;
    return file->is_directory ? PathKind::kFolder : PathKind::kFile;
}

std::optional<FileInfo> FakeFileSystem::Info(const std::wstring& path) {
    const FakeFile* file = Fails(FileCall::kInfo) ? nullptr : Find(path);
    if (file == nullptr) return std::nullopt;
    return FileInfo{file->is_directory, SizeOf(*file), file->modified};
}

// Windows' rules as far as the tests go: one kind of separator, no "." components, 259 characters.
std::wstring FakeFileSystem::FullPath(const std::wstring& path) {
    if (Fails(FileCall::kFullPath)) return {};
    std::wstring full;
    std::size_t start = 0;
    while (start < path.size()) {
        const std::size_t end = std::min(path.find_first_of(L"/\\", start), path.size());
        const std::wstring component = path.substr(start, end - start);
        if (!component.empty() && component != L".") {
            if (!full.empty()) full += L'\\';
            full += component;
        }
        start = end + 1;
    }
    if (path.ends_with(L'\\')) full += L'\\';
    return full.size() <= 259 ? full : std::wstring();
}

bool FakeFileSystem::List(const std::wstring& folder,
                          const std::function<void(const DirectoryEntry&)>& visit) {
    if (Fails(FileCall::kList)) return false;
    for (const auto& [path, file] : entries_) {
        if (path.find(L'\\') == std::wstring::npos || ParentKey(path) != Key(folder)) continue;
        const std::wstring_view name = std::wstring_view(path).substr(path.rfind(L'\\') + 1);
        visit({name, file->is_directory, SizeOf(*file)});
    }
    return true;
}

std::unique_ptr<ReadableFile> FakeFileSystem::OpenForReading(const std::wstring& path) {
    const FakeFile* file = Fails(FileCall::kOpenForReading) ? nullptr : Find(path);
    if (file == nullptr || file->is_directory) return nullptr;
    const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                    [file](const auto& each) { return each.second.get() == file; });
    return std::make_unique<FakeReadableFile>(*this, entry->second);
}

std::unique_ptr<WritableFile> FakeFileSystem::CreateForWriting(const std::wstring& path) {
    const FakeFile* old = Find(path);
    const FakeFile* parent = Find(path.substr(0, path.rfind(L'\\')));
    if (Fails(FileCall::kCreateForWriting) || parent == nullptr || !parent->is_directory ||
        (old != nullptr && (old->is_directory || old->is_read_only))) {
        return nullptr;
    }
    AddFile(path, "");
    return std::make_unique<FakeWritableFile>(*this, entries_.back().second);
}

bool FakeFileSystem::RemoveFile(const std::wstring& path) {
    const FakeFile* file = Fails(FileCall::kRemoveFile) ? nullptr : Find(path);
    if (file == nullptr || file->is_directory || file->is_read_only) return false;
    Remove(path);
    return true;
}

bool FakeFileSystem::RemoveFolder(const std::wstring& path) {
    const FakeFile* file = Fails(FileCall::kRemoveFolder) ? nullptr : Find(path);
    if (file == nullptr || !file->is_directory || HasEntries(path)) return false;
    Remove(path);
    return true;
}

void FakeFileSystem::CreateFolders(const std::wstring& path) {
    if (Fails(FileCall::kCreateFolders)) return;
    for (std::size_t end = path.find(L'\\'); end != std::wstring::npos;) {
        end = path.find(L'\\', end + 1);
        const std::wstring folder = path.substr(0, end);
        if (Find(folder) == nullptr) AddFolder(folder);
    }
}

}  // namespace harbinet::test
