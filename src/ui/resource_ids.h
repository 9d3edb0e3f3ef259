// Numbers of the program's resources; the resource compiler reads this file, too.
#pragma once

#define HARBINET_APPLICATION_ICON 107

#ifndef RC_INVOKED
namespace harbinet {
inline constexpr int kApplicationIcon = HARBINET_APPLICATION_ICON;
}
#endif
