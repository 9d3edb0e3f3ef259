// A drive letter that shows the web root in Explorer: a DOS device name defined for the folder.
// Every failure ends in one log line and leaves no mapping. UI thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "app/event_log.h"
#include "app/web_root.h"

namespace harbinet {

// What the mapping asks of the system. Error codes are the system's; 0 means success.
class DriveSystem {
public:
    virtual ~DriveSystem() = default;
    virtual bool IsAdministrator() = 0;
    // Bit 0 is A:, bit 25 is Z:.
    virtual unsigned long LogicalDrives() = 0;
    // Empty on failure.
    virtual std::wstring FullPath(const std::wstring& path) = 0;
    virtual unsigned long Define(const std::wstring& drive, const std::wstring& target) = 0;
    virtual unsigned long Remove(const std::wstring& drive, const std::wstring& target) = 0;
    virtual void NotifyAdded(const std::wstring& drive_root) = 0;
    virtual void NotifyRemoved(const std::wstring& drive_root) = 0;
};

// The real one. Lives as long as the process.
DriveSystem& SystemDrives();

class DriveMapping {
public:
    DriveMapping(EventLog& log, const WebRoot& web_root, DriveSystem& system)
        : log_(log), web_root_(web_root), system_(system) {}
    DriveMapping(const DriveMapping&) = delete;
    DriveMapping& operator=(const DriveMapping&) = delete;

    // Maps the current web root to the first free candidate letter.
    bool Mount();
    // Does nothing when nothing is mapped.
    void Unmount();

    // Called after each mount that succeeded; may be empty.
    void SetMountedCallback(std::function<void()> callback) { mounted_ = std::move(callback); }

    bool IsMapped() const { return !drive_.empty(); }
    // "W:", or empty when nothing is mapped.
    const std::wstring& Drive() const { return drive_; }
    // "W:\", or empty when nothing is mapped.
    std::wstring DriveRoot() const { return IsMapped() ? drive_ + L"\\" : std::wstring(); }

private:
    std::wstring FindFreeDrive() const;
    void Forget();

    EventLog& log_;
    const WebRoot& web_root_;
    DriveSystem& system_;
    std::function<void()> mounted_;
    std::wstring drive_;
    std::wstring target_;  // as given to the system: "\??\" and the full path
};

}  // namespace harbinet
