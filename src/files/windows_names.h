// Which paths Windows takes for something else than the file or folder they seem to name. A pure
// function, the same on every platform.
#pragma once

#include <string_view>

namespace harbinet {

// False for a full path that holds a ":" behind its drive letter (on NTFS that is a stream of a
// file), or whose last part is the name of a device: NUL, COM3, CONIN$ and their like, in every
// folder, with any extension and with blanks or dots behind them. Opening such a name reaches the
// device: a serial port toggles its lines, a console waits for keys. Also false for the empty path
// and for one with a NUL, which would end there.
bool NamesFileOnDisk(std::wstring_view path);

}  // namespace harbinet
