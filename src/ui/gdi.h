// Owners for the objects of GDI and of the window system. UI thread.
#pragma once

#include <windows.h>

#include "app/unique_handle_win.h"

namespace harbinet {

template <typename Object>
struct GdiObjectTraits {
    using Handle = Object;
    static Handle None() { return nullptr; }
    static void Close(Handle object) { DeleteObject(object); }
};
using UniqueBitmap = UniqueHandle<GdiObjectTraits<HBITMAP>>;
using UniqueBrush = UniqueHandle<GdiObjectTraits<HBRUSH>>;
using UniqueFont = UniqueHandle<GdiObjectTraits<HFONT>>;
using UniquePen = UniqueHandle<GdiObjectTraits<HPEN>>;

struct MemoryDcTraits {
    using Handle = HDC;
    static Handle None() { return nullptr; }
    static void Close(Handle dc) { DeleteDC(dc); }
};
using UniqueMemoryDc = UniqueHandle<MemoryDcTraits>;

struct IconTraits {
    using Handle = HICON;
    static Handle None() { return nullptr; }
    static void Close(Handle icon) { DestroyIcon(icon); }
};
using UniqueIcon = UniqueHandle<IconTraits>;

struct MenuTraits {
    using Handle = HMENU;
    static Handle None() { return nullptr; }
    static void Close(Handle menu) { DestroyMenu(menu); }
};
using UniqueMenu = UniqueHandle<MenuTraits>;

// Selects an object into a device context and puts the previous one back: a selected object cannot
// be deleted, so this must go before the object's owner does.
class Selection {
public:
    Selection(HDC dc, HGDIOBJ object) : dc_(dc), previous_(SelectObject(dc, object)) {}
    ~Selection() { SelectObject(dc_, previous_); }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

private:
    const HDC dc_;
    const HGDIOBJ previous_;
};

}  // namespace harbinet
