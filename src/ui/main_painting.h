// The main window's decorations: state bar, frames, QR code and its caption. UI thread.
#pragma once

#include <windows.h>

namespace harbinet {

// `qr_code` may be null: nothing is drawn for it then.
void PaintMainWindow(HDC dc, bool running, HBITMAP qr_code);

}  // namespace harbinet
