#include "ui/drive_mapping.h"

#include <utility>

#include "app/ui_thread.h"

namespace harbinet {
namespace {

// C to G and S are left alone on purpose: disks, card readers and network shares live there.
constexpr std::wstring_view kCandidateLetters = L"WTXYZUVABHIJKLMNOPQR";

}  // namespace

bool DriveMapping::Mount() {
    AssertUiThread();
    Forget();
    if (system_.IsAdministrator()) {
        log_.Log(L"DRIVE   skipped (running as administrator)");
        return false;
    }
    std::wstring drive = FindFreeDrive();
    if (drive.empty()) {
        log_.Log(L"DRIVE   no free drive letter");
        return false;
    }
    const std::wstring web_root = web_root_.Get();
    const std::wstring full_path = system_.FullPath(web_root);
    if (full_path.empty()) {
        log_.Log(L"DRIVE   GetFullPathName failed");
        return false;
    }
    std::wstring target = L"\\??\\" + full_path;
    if (const unsigned long error = system_.Define(drive, target); error != 0) {
        log_.Log(L"DRIVE   mount failed for " + drive + L" (err=" + std::to_wstring(error) + L")");
        return false;
    }
    drive_ = std::move(drive);
    target_ = std::move(target);
    system_.NotifyAdded(DriveRoot());
    log_.Log(L"DRIVE   mounted " + drive_ + L" -> " + web_root);
    if (mounted_) mounted_();
    return true;
}

void DriveMapping::Unmount() {
    AssertUiThread();
    if (IsMapped()) {
        if (const unsigned long error = system_.Remove(drive_, target_); error != 0) {
            log_.Log(L"DRIVE   unmount failed for " + drive_ + L" (err=" + std::to_wstring(error) +
                     L")");
        } else {
            log_.Log(L"DRIVE   unmounted " + drive_);
            system_.NotifyRemoved(DriveRoot());
        }
    }
    // Also after a failure, so that the next mount starts clean.
    Forget();
}

std::wstring DriveMapping::FindFreeDrive() const {
    for (const wchar_t letter : kCandidateLetters) {
        // Asked anew for each letter: drives come and go.
        const unsigned long taken = system_.LogicalDrives();
        if ((taken >> (letter - L'A') & 1U) == 0) return {letter, L':'};
    }
    return {};
}

void DriveMapping::Forget() {
    drive_.clear();
    target_.clear();
}

}  // namespace harbinet
