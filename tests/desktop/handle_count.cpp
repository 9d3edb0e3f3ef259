#include "handle_count.h"

#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace harbinet::test {
namespace {

// An entry of the table in which a process finds its GDI objects.
struct GdiEntry {
    std::uint64_t object;
    std::uint32_t owner;
    std::uint16_t unique;
    std::uint16_t type;  // 0: free
    std::uint64_t user;
};
constexpr std::size_t kGdiEntries = 0x4000;
constexpr std::size_t kTableInPeb = 0xF8;

// Where GetGuiResources does not count, the process's own table of GDI objects does.
std::size_t CountGdiTable(HANDLE process) {
    PROCESS_BASIC_INFORMATION basic = {};
    if (NtQueryInformationProcess(process, ProcessBasicInformation, &basic, sizeof basic,
                                  nullptr) != 0) {
        return 0;
    }
    const auto* peb = reinterpret_cast<const char*>(basic.PebBaseAddress);
    void* table = nullptr;
    SIZE_T read = 0;
    if (!ReadProcessMemory(process, peb + kTableInPeb, &table, sizeof table, &read)) return 0;
    std::vector<GdiEntry> entries(kGdiEntries);
    if (!ReadProcessMemory(process, table, entries.data(), entries.size() * sizeof(GdiEntry),
                           &read)) {
        return 0;
    }
    return static_cast<std::size_t>(
        std::ranges::count_if(entries, [](const GdiEntry& entry) { return entry.type != 0; }));
}

// All processes of a session share one table of windows, menus and icons. A handle's number grows
// with what is taken.
std::size_t NextUserHandle() {
    const HMENU menu = CreateMenu();
    const auto number = static_cast<std::size_t>(reinterpret_cast<ULONG_PTR>(menu) & 0xFFFF);
    DestroyMenu(menu);
    return number;
}

}  // namespace

HandleCount CountHandles(HANDLE process) {
    HandleCount count;
    count.gdi = GetGuiResources(process, GR_GDIOBJECTS);
    if (count.gdi == 0) count.gdi = CountGdiTable(process);
    count.user = GetGuiResources(process, GR_USEROBJECTS);
    if (count.user == 0) count.user = NextUserHandle();
    return count;
}

}  // namespace harbinet::test
