// The numbers by which the main window tells its commands apart: those of its controls and of the
// tray icon's menu.
#pragma once

namespace harbinet {

enum MainControlId : int {
    kServerButton = 1001,
    kStatusButton = 1002,
    kLogsButton = 1003,
    kExplorerButton = 1004,
    kCopyButton = 1010,
    kAutostartBox = 1011,
    kBrowserButton = 1012,
    kWebRootButton = 1013,
    kBackButton = 1014,
    kAddressBox = 1015,
    kUrlLabel = 1102,
    kPinLabel = 1103,
    kDriveLabel = 1104,
    kMasterPinLabel = 1110,
    kMasterPinEdit = 1111,
    kWebRootLabel = 1112,
    kStatusEdit = 1201,
};

inline constexpr int kTrayOpen = 40001;
inline constexpr int kTrayClose = 40002;
inline constexpr int kTrayCopy = 40003;
inline constexpr int kTrayExplorer = 40004;
inline constexpr int kTrayBrowser = 40005;

}  // namespace harbinet
