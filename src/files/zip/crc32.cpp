#include "files/zip/crc32.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace harbinet {
namespace {

constexpr std::size_t kSlices = 16;
using Table = std::array<std::uint32_t, 256>;

constexpr Table BaseTable() {
    Table table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320U : value >> 1;
        }
        table[i] = value;
    }
    return table;
}

// Table n holds what a byte becomes after n more zero bytes, so that 16 bytes are looked up
// independently of each other. Made by the compiler: there is no moment at which a thread could
// see them half filled.
constexpr std::array<Table, kSlices> SliceTables() {
    std::array<Table, kSlices> tables{};
    tables[0] = BaseTable();
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t i = 0; i < tables[slice].size(); ++i) {
            const std::uint32_t before = tables[slice - 1][i];
            tables[slice][i] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr std::array<Table, kSlices> kTables = SliceTables();

std::uint32_t FourBytes(const char* bytes) {
    std::uint32_t value;
    std::memcpy(&value, bytes, sizeof value);  // x86-64 is little-endian, as the tables expect
    return value;
}

// The four bytes of `value`, whose first is followed by `after` bytes of the same step.
std::uint32_t LookUp(std::uint32_t value, std::size_t after) {
    return kTables[after][value & 0xFF] ^ kTables[after - 1][value >> 8 & 0xFF] ^
           kTables[after - 2][value >> 16 & 0xFF] ^ kTables[after - 3][value >> 24];
}

}  // namespace

std::uint32_t Crc32(std::string_view bytes, std::uint32_t before) {
    std::uint32_t crc = ~before;
    const char* next = bytes.data();
    std::size_t remaining = bytes.size();
    for (; remaining >= kSlices; remaining -= kSlices, next += kSlices) {
        crc = LookUp(FourBytes(next) ^ crc, 15) ^ LookUp(FourBytes(next + 4), 11) ^
              LookUp(FourBytes(next + 8), 7) ^ LookUp(FourBytes(next + 12), 3);
    }
    for (; remaining > 0; --remaining, ++next) {
        crc = crc >> 8 ^ kTables[0][(crc ^ static_cast<unsigned char>(*next)) & 0xFF];
    }
    return ~crc;
}

}  // namespace harbinet
