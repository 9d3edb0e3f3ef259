// A selection of files, some of which change, vanish or fail while they are packed. The archive is
// read back by a reader of its own, which takes every field at its word.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "files/zip/archive.h"
#include "files/zip/crc32.h"
#include "fuzz_input.h"

namespace harbinet::test {
namespace {

enum class Fate { kStays, kShrinks, kGrows, kVanishes, kIsFolder, kCannotOpen, kCannotRead };
constexpr std::size_t kFates = 7;
constexpr std::string_view kGrowth = "more";

struct PackedFile {
    Fate fate = Fate::kStays;
    std::string content;  // as the precheck sees it
};

class FatefulReadable final : public ReadableFile {
public:
    FatefulReadable(std::string content, bool fails, std::size_t bytes_per_read)
        : content_(std::move(content)), fails_(fails), bytes_per_read_(bytes_per_read) {}
    std::optional<std::uint64_t> Size() override { return content_.size(); }
    std::optional<std::size_t> Read(std::span<char> buffer) override {
        if (fails_) return std::nullopt;
        const std::size_t count =
            std::min({buffer.size(), bytes_per_read_, content_.size() - position_});
        std::copy_n(content_.data() + position_, count, buffer.data());
        position_ += count;
        return count;
    }

private:
    const std::string content_;
    const bool fails_;
    const std::size_t bytes_per_read_;
    std::size_t position_ = 0;
};

// The path of file i is its number. Fates strike after the precheck.
class FatefulFiles final : public FileSystem {
public:
    std::vector<PackedFile> packed;
    bool prechecked = false;

    PathKind Kind(const std::wstring& path) override {
        const Fate fate = At(path).fate;
        if (fate == Fate::kVanishes && prechecked) return PathKind::kMissing;
        return fate == Fate::kIsFolder ? PathKind::kFolder : PathKind::kFile;
    }
    std::optional<FileInfo> Info(const std::wstring& path) override {
        if (At(path).fate == Fate::kVanishes && prechecked) return std::nullopt;
        return FileInfo{
            At(path).fate == Fate::kIsFolder, At(path).content.size(), {2026, 1, 2, 9, 7, 5, 0}};
    }
    std::unique_ptr<ReadableFile> OpenForReading(const std::wstring& path) override {
        const PackedFile& file = At(path);
        if (file.fate == Fate::kCannotOpen) return nullptr;
        std::string content = file.content;
        if (file.fate == Fate::kShrinks) content.resize(content.size() / 2);
        if (file.fate == Fate::kGrows) content += kGrowth;
        return std::make_unique<FatefulReadable>(content, file.fate == Fate::kCannotRead,
                                                 1 + file.content.size() % 50);
    }
    std::wstring FullPath(const std::wstring&) override { return {}; }
    bool List(const std::wstring&, const std::function<void(const DirectoryEntry&)>&) override {
        return false;
    }
    std::unique_ptr<WritableFile> CreateForWriting(const std::wstring&) override { return nullptr; }
    bool RemoveFile(const std::wstring&) override { return false; }
    bool RemoveFolder(const std::wstring&) override { return false; }
    void CreateFolders(const std::wstring&) override {}

private:
    const PackedFile& At(const std::wstring& path) const { return packed[std::stoul(path)]; }
};

using Entries = std::vector<std::pair<std::string, std::string>>;

// Reads little-endian fields at any offset of the archive.
class ArchiveReader {
public:
    explicit ArchiveReader(std::string_view archive) : archive_(archive) {}

    // Names and contents by way of the end record and the central directory.
    Entries Read() const {
        Check(archive_.size() >= 22, "there is an end record");
        const std::size_t end = archive_.size() - 22;
        Check(Field(end, 4) == 0x06054B50, "the end record closes the archive");
        const std::size_t count = Field(end + 10, 2);
        Check(Field(end + 8, 2) == count && Field(end + 4, 4) == 0, "there is one disk");
        std::size_t at = Field(end + 16, 4);
        Check(at + Field(end + 12, 4) == end, "the directory ends where the end record begins");
        Entries entries;
        std::size_t data_end = 0;
        for (std::size_t i = 0; i < count; ++i) {
            entries.push_back(ReadEntry(at, data_end));
            at += 46 + Field(at + 28, 2);
        }
        Check(at == end, "the directory holds its entries and nothing else");
        Check(data_end == Field(end + 16, 4), "it follows the last file's data");
        return entries;
    }

private:
    std::uint32_t Field(std::size_t offset, std::size_t bytes) const {
        Check(offset + bytes <= archive_.size(), "fields lie inside the archive");
        std::uint32_t value = 0;
        for (std::size_t i = bytes; i-- > 0;) {
            value = value << 8 | static_cast<unsigned char>(archive_[offset + i]);
        }
        return value;
    }

    // The entry of the directory's header at `at`, whose local header must stand at `data_end`.
    std::pair<std::string, std::string> ReadEntry(std::size_t at, std::size_t& data_end) const {
        Check(Field(at, 4) == 0x02014B50, "a directory header has its signature");
        const std::size_t local = Field(at + 42, 4);
        Check(local == data_end, "local headers follow each other without gaps");
        Check(Field(local, 4) == 0x04034B50, "a local header has its signature");
        for (std::size_t field = 0; field < 26; field += 2) {
            Check(Field(local + 4 + field, 2) == Field(at + 6 + field, 2), "both headers agree");
        }
        const std::size_t name_length = Field(at + 28, 2);
        const std::size_t size = Field(at + 24, 4);
        const std::size_t name_at = local + 30;
        data_end = name_at + name_length + size;
        Check(data_end <= archive_.size(), "the data lies inside the archive");
        std::string name(archive_.substr(name_at, name_length));
        std::string content(archive_.substr(name_at + name_length, size));
        Check(archive_.substr(at + 46, name_length) == name, "both names agree");
        Check(Field(at + 20, 4) == size, "nothing is compressed");
        Check(Field(at + 16, 4) == Crc32(content), "the checksum is that of the data");
        return {std::move(name), std::move(content)};
    }

    const std::string_view archive_;
};

// Takes values off the front of the input; zeros when it is used up.
class Input {
public:
    explicit Input(std::string bytes) : bytes_(std::move(bytes)) {}
    bool IsEmpty() const { return at_ >= bytes_.size(); }
    std::size_t Byte() { return IsEmpty() ? 0 : static_cast<unsigned char>(bytes_[at_++]); }
    std::string Text(std::size_t count) {
        std::string text = bytes_.substr(std::min(at_, bytes_.size()), count);
        at_ += text.size();
        return text;
    }

private:
    const std::string bytes_;
    std::size_t at_ = 0;
};

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet;
    using test::Check;
    using test::Fate;
    test::Input input(test::InputText(data, size));
    test::FatefulFiles files;
    std::vector<ZipItem> items;
    test::Entries expected;
    while (!input.IsEmpty()) {
        const auto fate = static_cast<Fate>(input.Byte() % test::kFates);
        const std::string name = input.Text(input.Byte() % 64);
        const std::string content = input.Text(input.Byte());
        items.push_back({.path = std::to_wstring(items.size()), .entry_name = name});
        files.packed.push_back({fate, content});
        if (fate == Fate::kShrinks) {
            expected.emplace_back(name, content.substr(0, content.size() / 2));
        } else if (fate == Fate::kStays) {
            expected.emplace_back(name, content);
        } else if (fate == Fate::kGrows) {
            expected.emplace_back(name, content + std::string(test::kGrowth));
        } else if (fate == Fate::kCannotRead && content.empty()) {
            expected.emplace_back(name, "");  // nothing had to be read
        }
    }

    std::uint64_t total = 0;
    Check(ZipPrecheck(files, items, kZipLimit, total).empty(), "small files pass the precheck");
    files.prechecked = true;
    ZipBuffer archive;
    const bool built = BuildZipArchive(files, items, archive) == ZipResult::kBuilt;
    Check(built == !expected.empty(), "there is an archive when there is an entry");
    if (built) {
        Check(test::ArchiveReader(archive.View()).Read() == expected, "every file reads back");
    }
    return 0;
}
