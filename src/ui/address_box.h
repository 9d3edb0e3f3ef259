// The combo box that chooses which address the links name. UI thread.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace harbinet {

enum class AddressSelection { kAutomatic, kKeep };

// "(auto)", then `choices`. kKeep selects what was selected before, if it is still there.
void FillAddressBox(HWND box, const std::vector<std::wstring>& choices, AddressSelection selection);

// The selected address; empty for "(auto)".
std::wstring SelectedAddress(HWND box);

}  // namespace harbinet
