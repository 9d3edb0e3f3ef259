// Owners for the objects of GDI and of the window system. UI thread.
#pragma once

#include <windows.h>

#include "app/ui_thread.h"
#include "app/unique_handle_win.h"

namespace harbinet {

template <typename Object>
using UniqueGdiObject = UniqueHandle<NullableTraits<Object, DeleteObject>>;

using UniqueBitmap = UniqueGdiObject<HBITMAP>;
using UniqueBrush = UniqueGdiObject<HBRUSH>;
using UniqueFont = UniqueGdiObject<HFONT>;
using UniquePen = UniqueGdiObject<HPEN>;
using UniqueMemoryDc = UniqueHandle<NullableTraits<HDC, DeleteDC>>;
using UniqueIcon = UniqueHandle<NullableTraits<HICON, DestroyIcon>>;
using UniqueMenu = UniqueHandle<NullableTraits<HMENU, DestroyMenu>>;

// A window's device context; given back to the system, not deleted.
class WindowDc {
public:
    explicit WindowDc(HWND window) : window_(window), dc_(GetDC(window)) {}
    ~WindowDc() {
        if (dc_) ReleaseDC(window_, dc_);
    }
    WindowDc(const WindowDc&) = delete;
    WindowDc& operator=(const WindowDc&) = delete;

    HDC Get() const { return dc_; }

private:
    const HWND window_;
    const HDC dc_;
};

// Selects an object into a device context and puts the previous one back: a selected object cannot
// be deleted, so this must go before the object's owner does.
class Selection {
public:
    Selection(HDC dc, HGDIOBJ object) : dc_(dc), previous_(SelectObject(dc, object)) {
        AssertUiThread();
    }
    ~Selection() { SelectObject(dc_, previous_); }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

private:
    const HDC dc_;
    const HGDIOBJ previous_;
};

}  // namespace harbinet
