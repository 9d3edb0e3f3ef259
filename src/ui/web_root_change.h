// Publishing another folder: stops the server and takes the drive letter away while the web root
// changes, voids every share link, and brings both back. UI thread.
#pragma once

#include <string>

#include "ui/desktop_services.h"
#include "ui/drive_mapping.h"

namespace harbinet {

// False, with nothing changed, for an empty path. The caller shows the new status.
bool ApplyWebRoot(DesktopServices& services, DriveMapping& drive, const std::wstring& path);

}  // namespace harbinet
