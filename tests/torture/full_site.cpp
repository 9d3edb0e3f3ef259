#include "full_site.h"

namespace harbinet::test {

FullSite::FullSite() {
    files.AddFolder(L"D:");
    files.AddFile(L"D:\\Share\\a.txt", "inside");
    files.AddFile(L"D:\\Share\\empty", "");
    files.AddFile(L"D:\\Share\\large", std::string(600'000, 'l'));
    files.AddFile(L"D:\\Share\\limit", "").claimed_size = 4'294'967'296;
    files.AddFile(L"D:\\Share\\fixed", "kept").is_read_only = true;
    files.AddFolder(L"D:\\Share\\hollow");
    files.AddFolder(L"D:\\Share\\docs");
    files.AddFolder(L"D:\\Share\\docs\\sub");
    files.AddFile(L"D:\\Share\\docs\\b.txt", "deeper inside");
    credentials.SetMasterPin(kPin);
    session = credentials.CreateSession();
    file_link = shares.CreateShareLink(L"a.txt", false);
    folder_link = shares.CreateShareLink(L"docs", true);
    lost_link = shares.CreateShareLink(L"gone.txt", false);
}

std::string FullSite::Disk() const {
    std::string disk;
    for (const std::wstring& path : files.Paths()) {
        disk += std::string(path.begin(), path.end()) + "=" + files.Content(path) + "\n";
    }
    return disk;
}

void FullSite::TakeEveryLock() {
    shares.LookupShareLink(std::string(64, '0'));
    credentials.AcceptsPin("000000");
    bans.IsBanned("10.0.0.9", kSiteStart);
    log.Snapshot();
}

}  // namespace harbinet::test
