#include "ui/qr_bitmap.h"

#include <qrencode.h>

#include <algorithm>
#include <memory>

#include "app/encoding.h"
#include "app/ui_thread.h"
#include "ui/qr_pixels.h"

namespace harbinet {
namespace {

struct QrCodeDeleter {
    void operator()(QRcode* code) const { QRcode_free(code); }
};

UniqueBitmap MakeBitmap(const QrPixelRows& pixels, int side) {
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = side;
    info.bmiHeader.biHeight = -side;  // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    UniqueBitmap bitmap(CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (bitmap) std::ranges::copy(pixels, static_cast<std::uint32_t*>(bits));
    return bitmap;
}

}  // namespace

UniqueBitmap MakeQrBitmap(const std::wstring& link) {
    AssertUiThread();
    constexpr int kSmallestVersion = 0;
    constexpr int kCaseSensitive = 1;
    const std::unique_ptr<QRcode, QrCodeDeleter> code(QRcode_encodeString(
        WideToUtf8(link).c_str(), kSmallestVersion, QR_ECLEVEL_M, QR_MODE_8, kCaseSensitive));
    if (!code) return {};
    const auto count =
        static_cast<std::size_t>(code->width) * static_cast<std::size_t>(code->width);
    return MakeBitmap(QrPixels({code->data, count}, code->width), QrSide(code->width));
}

}  // namespace harbinet
