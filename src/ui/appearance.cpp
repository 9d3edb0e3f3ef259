#include "ui/appearance.h"

#include <string_view>

#include "app/ui_thread.h"

namespace harbinet {

Appearance MakeAppearance() {
    AssertUiThread();
    LOGFONTW description = {};
    description.lfHeight = -14;
    std::wstring_view(L"Segoe UI").copy(description.lfFaceName, LF_FACESIZE - 1);
    Appearance appearance;
    appearance.white.Reset(CreateSolidBrush(RGB(255, 255, 255)));
    appearance.font.Reset(CreateFontIndirectW(&description));
    return appearance;
}

}  // namespace harbinet
