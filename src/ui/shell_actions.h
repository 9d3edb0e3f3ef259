// What the shell and the clipboard do for the windows. UI thread.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace harbinet {

// Shell results up to this one are failures.
inline constexpr std::intptr_t kLastShellError = 32;

// Opens a link or a folder with whatever the user has for it; returns the shell's result.
std::intptr_t OpenWithShell(const std::wstring& target);

// Makes `text` the clipboard's text. A clipboard that cannot be opened is left alone.
void CopyToClipboard(HWND owner, const std::wstring& text);

// Lets the user pick a folder; nothing when that was cancelled or failed.
std::optional<std::wstring> PickFolder(HWND owner, const wchar_t* title);

}  // namespace harbinet
