// A ZIP archive of whole files, stored without compression, names in UTF-8, no ZIP64. It is built
// in memory in one buffer, whose size is known beforehand: what a request costs is the selection
// and its headers, once. Runs on the connection's own thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/clock.h"
#include "files/file_system.h"

namespace harbinet {

inline constexpr std::uint64_t kZipLimit = 4'294'967'296;  // sizes and offsets have 32 bits

struct ZipItem {
    std::wstring path;       // full path
    std::string entry_name;  // inside the archive, UTF-8
    // Bytes, as ZipPrecheck found them. Another size counts when the file is opened: it may have
    // changed, and of a symbolic link only the open file tells it. One that appears after the
    // precheck is left out.
    std::uint64_t size = 0;
    bool is_present = false;
};

struct ZipCentralRecord {
    std::string_view name;  // its item's
    std::uint32_t crc = 0;
    std::uint32_t size = 0;  // compressed and uncompressed
    std::uint32_t header_offset = 0;
    std::uint16_t dos_date = 0;
    std::uint16_t dos_time = 0;
};

// Bytes in a buffer that is not filled beforehand.
class ZipBuffer {
public:
    ZipBuffer() = default;
    explicit ZipBuffer(std::size_t capacity)
        : bytes_(std::make_unique_for_overwrite<char[]>(capacity)), capacity_(capacity) {}

    std::size_t Size() const { return size_; }
    std::size_t Capacity() const { return capacity_; }
    std::string_view View() const { return {bytes_.get(), size_}; }

    // Room for that many bytes in all, twice the memory for a moment. Throws std::bad_alloc.
    void Grow(std::size_t capacity);

    // They must fit.
    void Append(std::string_view bytes);
    void Resize(std::size_t size) { size_ = size; }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

// Fills in the item's size and adds it to `total`. Empty, or an error message: the item, or the
// total with it, exceeds `limit`. A missing file and a folder count nothing.
std::string_view ZipPrecheckItem(FileSystem& files, ZipItem& item, std::uint64_t limit,
                                 std::uint64_t& total);

// The error message, or empty, for the total of all items.
std::string_view ZipPrecheckTotal(std::uint64_t total, std::uint64_t limit);

// Fills in each item's size. Empty when all of them together stay below `limit`, and then `total`
// is their sum; else an error message. Missing files and folders count nothing.
std::string_view ZipPrecheck(FileSystem& files, std::vector<ZipItem>& items, std::uint64_t limit,
                             std::uint64_t& total);

// kNothingReadable: there is no entry; kTooLarge: a file has grown beyond what an archive holds.
enum class ZipResult { kBuilt, kNothingReadable, kTooLarge };

// The archive of the prechecked items that can still be read; others are skipped. `now` dates files
// whose time the system does not tell. Throws std::bad_alloc when the archive does not fit into
// memory.
ZipResult BuildZipArchive(FileSystem& files, const std::vector<ZipItem>& items, ZipBuffer& archive,
                          LocalClock now = SystemLocalTime);

}  // namespace harbinet
