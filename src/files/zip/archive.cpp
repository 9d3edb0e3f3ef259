#include "files/zip/archive.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>
#include <optional>

#include "app/large_buffer.h"
#include "files/zip/crc32.h"

namespace harbinet {
namespace {

constexpr std::size_t kLocalHeaderBytes = 30;
constexpr std::size_t kCentralHeaderBytes = 46;
constexpr std::size_t kEndRecordBytes = 22;
constexpr std::size_t kReadBlockBytes = 262'144;
constexpr std::size_t kMaxNameBytes = std::numeric_limits<std::uint16_t>::max();

constexpr std::string_view kTooMuch = "Selected files exceed the ZIP limit (4 GB).";

constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kUtf8Names = 0x0800;
constexpr std::uint16_t kStored = 0;

// Writes little-endian fields one after the other.
template <std::size_t kBytes>
class Header {
public:
    Header& Put16(std::size_t value) {
        assert(at_ + 2 <= kBytes);
        bytes_[at_++] = static_cast<char>(value & 0xFF);
        bytes_[at_++] = static_cast<char>(value >> 8 & 0xFF);
        return *this;
    }
    Header& Put32(std::size_t value) { return Put16(value).Put16(value >> 16); }

    std::string_view View() const { return {bytes_.data(), bytes_.size()}; }

private:
    std::array<char, kBytes> bytes_{};
    std::size_t at_ = 0;
};

// The fields from "version needed" to the name length, which both kinds of header share.
template <std::size_t kBytes>
void PutCommonFields(Header<kBytes>& header, const ZipCentralRecord& record) {
    header.Put16(kVersion).Put16(kUtf8Names).Put16(kStored);
    header.Put16(record.dos_time).Put16(record.dos_date);
    header.Put32(record.crc).Put32(record.size).Put32(record.size).Put16(record.name.size());
}

void WriteLocalHeader(ZipBuffer& archive, const ZipCentralRecord& record) {
    Header<kLocalHeaderBytes> header;
    header.Put32(0x04034B50);
    PutCommonFields(header, record);
    archive.Append(header.View());
    archive.Append(record.name);
}

void WriteCentralHeader(ZipBuffer& archive, const ZipCentralRecord& record) {
    Header<kCentralHeaderBytes> header;
    header.Put32(0x02014B50).Put16(kVersion);
    PutCommonFields(header, record);
    header.Put16(0).Put16(0).Put16(0).Put16(0).Put32(0);  // extra, comment, disk, attributes
    header.Put32(record.header_offset);
    archive.Append(header.View());
    archive.Append(record.name);
}

void WriteDirectory(ZipBuffer& archive, const std::vector<ZipCentralRecord>& records) {
    const std::size_t offset = archive.Size();
    for (const ZipCentralRecord& record : records) WriteCentralHeader(archive, record);
    Header<kEndRecordBytes> end;
    end.Put32(0x06054B50).Put16(0).Put16(0);
    end.Put16(records.size()).Put16(records.size());  // wraps beyond 65,535 entries
    end.Put32(archive.Size() - offset).Put32(offset).Put16(0);
    archive.Append(end.View());
}

void SetDosTime(ZipCentralRecord& record, const LocalTime& time) {
    const int years = std::max(time.year - 1980, 0);
    record.dos_date = static_cast<std::uint16_t>(years << 9 | time.month << 5 | time.day);
    record.dos_time =
        static_cast<std::uint16_t>(time.hour << 11 | time.minute << 5 | time.second / 2);
}

// Appends what the file holds, up to `size` bytes: its checksum, or nothing when it cannot be
// read.
std::optional<std::uint32_t> AppendFile(ReadableFile& file, std::uint64_t size,
                                        ZipBuffer& archive) {
    // In blocks that the processor's cache still holds when the checksum and the copy need them:
    // that is faster than to read the file to its place and to fetch it all once more.
    LargeBuffer block(std::min<std::uint64_t>(size, kReadBlockBytes));
    std::uint32_t crc = 0;
    for (std::uint64_t left = size; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, block.size()));
        const auto count = file.Read({block.data(), wanted});
        if (!count) return std::nullopt;
        if (*count == 0) break;
        const std::string_view bytes(block.data(), *count);
        crc = Crc32(bytes, crc);
        archive.Append(bytes);
        left -= *count;
    }
    return crc;
}

// Names that do not fit their 16-bit length cannot be told in a header.
bool CanBeEntry(const ZipItem& item) {
    return item.is_present && item.entry_name.size() <= kMaxNameBytes;
}

std::size_t ArchiveBytes(const std::vector<ZipItem>& items) {
    std::size_t bytes = kEndRecordBytes;
    for (const ZipItem& item : items) {
        if (!CanBeEntry(item)) continue;
        bytes += kLocalHeaderBytes + kCentralHeaderBytes + 2 * item.entry_name.size();
        bytes += static_cast<std::size_t>(item.size);
    }
    return bytes;
}

// The archive has room for item.size bytes of each item; makes more for an item of `size`. False
// when no archive has so much.
bool MakeRoom(const ZipItem& item, std::uint64_t size, ZipBuffer& archive) {
    if (size <= item.size) return true;
    const std::uint64_t most = kZipLimit - std::min<std::uint64_t>(kZipLimit, archive.Capacity());
    if (size - item.size > most) return false;
    archive.Grow(archive.Capacity() + static_cast<std::size_t>(size - item.size));
    return true;
}

// Appends one entry of up to `size` bytes; nothing, with the archive as it was, when the file can
// no longer be read.
std::optional<ZipCentralRecord> AppendEntry(FileSystem& files, const ZipItem& item,
                                            ReadableFile& file, std::uint64_t size,
                                            ZipBuffer& archive, LocalClock now) {
    const std::size_t header_at = archive.Size();
    const std::size_t data_at = header_at + kLocalHeaderBytes + item.entry_name.size();

    // The data comes first, to its final place: its length and checksum belong into the header.
    archive.Resize(data_at);
    const std::optional<std::uint32_t> crc = AppendFile(file, size, archive);
    const std::size_t end = archive.Size();
    archive.Resize(header_at);
    if (!crc) return std::nullopt;

    ZipCentralRecord record{.name = item.entry_name,
                            .crc = *crc,
                            .size = static_cast<std::uint32_t>(end - data_at),
                            .header_offset = static_cast<std::uint32_t>(header_at)};
    const std::optional<FileInfo> info = files.Info(item.path);
    SetDosTime(record, info ? info->modified : now());
    WriteLocalHeader(archive, record);
    archive.Resize(end);
    return record;
}

}  // namespace

void ZipBuffer::Grow(std::size_t capacity) {
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    std::copy_n(bytes_.get(), size_, bytes.get());
    bytes_ = std::move(bytes);
    capacity_ = capacity;
}

void ZipBuffer::Append(std::string_view bytes) {
    assert(bytes.size() <= capacity_ - size_);
    std::copy(bytes.begin(), bytes.end(), bytes_.get() + size_);
    size_ += bytes.size();
}

std::string_view ZipPrecheckItem(FileSystem& files, ZipItem& item, std::uint64_t limit,
                                 std::uint64_t& total) {
    const std::optional<FileInfo> info = files.Info(item.path);
    item.is_present = info && !info->is_directory;
    if (!item.is_present) return {};
    item.size = info->size;
    if (item.size > limit) return "A selected file is larger than the ZIP limit (4 GB).";
    if (total > limit - item.size) return kTooMuch;
    total += item.size;
    return {};
}

std::string_view ZipPrecheckTotal(std::uint64_t total, std::uint64_t limit) {
    return total < limit ? std::string_view() : kTooMuch;
}

std::string_view ZipPrecheck(FileSystem& files, std::vector<ZipItem>& items, std::uint64_t limit,
                             std::uint64_t& total) {
    total = 0;
    for (ZipItem& item : items) {
        const std::string_view error = ZipPrecheckItem(files, item, limit, total);
        if (!error.empty()) return error;
    }
    return ZipPrecheckTotal(total, limit);
}

ZipResult BuildZipArchive(FileSystem& files, const std::vector<ZipItem>& items, ZipBuffer& archive,
                          LocalClock now) {
    archive = ZipBuffer(ArchiveBytes(items));
    std::vector<ZipCentralRecord> records;
    for (const ZipItem& item : items) {
        if (!CanBeEntry(item) || files.Kind(item.path) != PathKind::kFile) continue;
        const auto file = files.OpenForReading(item.path);
        if (!file) continue;
        const std::uint64_t size = file->Size().value_or(item.size);
        if (!MakeRoom(item, size, archive)) return ZipResult::kTooLarge;
        if (auto record = AppendEntry(files, item, *file, size, archive, now)) {
            records.push_back(*record);
        }
    }
    if (records.empty()) return ZipResult::kNothingReadable;
    WriteDirectory(archive, records);
    return ZipResult::kBuilt;
}

}  // namespace harbinet
