#include "files/windows_names.h"

#include <algorithm>
#include <iterator>

#include "app/ascii.h"

namespace harbinet {
namespace {

constexpr std::wstring_view kSeparators = L"\\/";
constexpr std::wstring_view kNumberedDevices[] = {L"com", L"lpt"};
// The superscripts count as digits too.
constexpr std::wstring_view kDeviceNumbers = L"123456789\u00B9\u00B2\u00B3";
constexpr std::wstring_view kDevices[] = {L"aux", L"con", L"conin$", L"conout$", L"nul", L"prn"};

bool EqualsIgnoringCase(std::wstring_view text, std::wstring_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](wchar_t a, wchar_t b) { return LowerAscii(a) == b; });
}

bool IsSeparator(wchar_t c) { return kSeparators.find(c) != std::wstring_view::npos; }

// "\\.\": what follows is no path but a device.
bool HasDevicePrefix(std::wstring_view path) {
    return path.size() >= 4 && IsSeparator(path[0]) && IsSeparator(path[1]) && path[2] == L'.' &&
           IsSeparator(path[3]);
}

std::wstring_view WithoutDrive(std::wstring_view path) {
    constexpr std::wstring_view kVerbatimPrefix = L"\\\\?\\";
    if (path.starts_with(kVerbatimPrefix)) path.remove_prefix(kVerbatimPrefix.size());
    if (path.size() >= 2 && path[1] == L':') {
        const wchar_t letter = LowerAscii(path[0]);
        if (letter >= L'a' && letter <= L'z') path.remove_prefix(2);
    }
    return path;
}

// Parts of nothing but dots and blanks disappear when the system makes a path a full one: what
// stands before them becomes the last part.
std::wstring_view LastPart(std::wstring_view path) {
    path = path.substr(0, path.find_last_not_of(L"\\/. ") + 1);
    const std::size_t separator = path.find_last_of(kSeparators);
    return separator == std::wstring_view::npos ? path : path.substr(separator + 1);
}

bool IsDeviceName(std::wstring_view name) {
    name = name.substr(0, name.find(L'.'));
    name = name.substr(0, name.find_last_not_of(L' ') + 1);
    const auto is_name = [name](std::wstring_view device) {
        return EqualsIgnoringCase(name, device);
    };
    const auto is_numbered = [name](std::wstring_view device) {
        return name.size() == device.size() + 1 &&
               EqualsIgnoringCase(name.substr(0, device.size()), device) &&
               kDeviceNumbers.find(name.back()) != std::wstring_view::npos;
    };
    return std::any_of(std::begin(kDevices), std::end(kDevices), is_name) ||
           std::any_of(std::begin(kNumberedDevices), std::end(kNumberedDevices), is_numbered);
}

}  // namespace

bool NamesFileOnDisk(std::wstring_view path) {
    if (path.empty() || path.find(L'\0') != std::wstring_view::npos) return false;
    if (HasDevicePrefix(path)) return false;
    path = WithoutDrive(path);
    return path.find(L':') == std::wstring_view::npos && !IsDeviceName(LastPart(path));
}

}  // namespace harbinet
