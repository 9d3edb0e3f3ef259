// The QR code of a link as a bitmap. UI thread.
#pragma once

#include <string>

#include "ui/gdi.h"

namespace harbinet {

// 32 bits a pixel, top-down; see QrPixels. Empty when the link cannot be encoded or the bitmap
// cannot be made.
UniqueBitmap MakeQrBitmap(const std::wstring& link);

}  // namespace harbinet
