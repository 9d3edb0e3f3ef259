// What the windows draw their controls with. UI thread.
#pragma once

#include "ui/gdi.h"

namespace harbinet {

// Made when the main window is created, gone when it is destroyed.
struct Appearance {
    UniqueBrush white;
    UniqueFont font;
};

// A white brush and "Segoe UI", 14 pixels high.
Appearance MakeAppearance();

}  // namespace harbinet
