#include "ui/main_painting.h"

#include <string_view>

#include "app/ui_thread.h"
#include "ui/gdi.h"

namespace harbinet {
namespace {

constexpr COLORREF kRunningColour = RGB(152, 220, 170);
constexpr COLORREF kStoppedColour = RGB(240, 170, 170);
constexpr COLORREF kFrameColour = RGB(200, 200, 200);
constexpr COLORREF kQrFrameColour = RGB(220, 220, 220);

// Two blanks between the words: the caption is as long as the code is high.
constexpr std::wstring_view kQrCaption = L"Mobile  APP QR";

constexpr POINT kQrPlace = {44, -4};
constexpr POINT kCaptionPlace = {42, 110};
constexpr LONG kUpwards = 900;  // tenths of a degree, counter-clockwise

void DrawRoundRect(HDC dc, HBRUSH brush, COLORREF line, const RECT& place, int corner) {
    const UniquePen pen(CreatePen(PS_SOLID, 1, line));
    const Selection with_pen(dc, pen.Get());
    const Selection with_brush(dc, brush);
    RoundRect(dc, place.left, place.top, place.right, place.bottom, corner, corner);
}

void DrawFrame(HDC dc, COLORREF line, const RECT& place) {
    DrawRoundRect(dc, static_cast<HBRUSH>(GetStockObject(HOLLOW_BRUSH)), line, place, 10);
}

void DrawStateBar(HDC dc, bool running) {
    const UniqueBrush brush(CreateSolidBrush(running ? kRunningColour : kStoppedColour));
    DrawRoundRect(dc, brush.Get(), kFrameColour, {12, 6, 32, 134}, 5);
}

void DrawQrCode(HDC dc, HBITMAP qr_code) {
    BITMAP info = {};
    if (GetObjectW(qr_code, sizeof info, &info) == 0) return;
    {
        const UniqueMemoryDc source(CreateCompatibleDC(dc));
        const Selection with_bitmap(source.Get(), qr_code);
        BitBlt(dc, kQrPlace.x, kQrPlace.y, info.bmWidth, info.bmHeight, source.Get(), 0, 0,
               SRCCOPY);
    }
    DrawFrame(dc, kQrFrameColour, {42, 6, info.bmWidth + 34, info.bmHeight - 14});
}

void DrawQrCaption(HDC dc) {
    LOGFONTW description = {};
    SystemParametersInfoW(SPI_GETICONTITLELOGFONT, sizeof description, &description, 0);
    description.lfEscapement = kUpwards;
    description.lfOrientation = kUpwards;
    const UniqueFont font(CreateFontIndirectW(&description));
    const Selection with_font(dc, font.Get());
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, RGB(0, 0, 0));
    TextOutW(dc, kCaptionPlace.x, kCaptionPlace.y, kQrCaption.data(),
             static_cast<int>(kQrCaption.size()));
}

}  // namespace

void PaintMainWindow(HDC dc, bool running, HBITMAP qr_code) {
    AssertUiThread();
    DrawStateBar(dc, running);
    DrawFrame(dc, kFrameColour, {196, 44, 668, 134});
    DrawFrame(dc, kFrameColour, {42, 144, 668, 214});
    if (qr_code) DrawQrCode(dc, qr_code);
    DrawQrCaption(dc);
}

}  // namespace harbinet
