// What several tests of net/ share: a folder of their own, a log without clock, an identity.
#pragma once

#include <filesystem>
#include <string>

#include "app/event_log.h"
#include "net/certificate.h"
#include "net/tls_context.h"
#include "support/log_text.h"

namespace harbinet::test {

// An empty folder that goes with its content.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    CertificateFiles Files() const { return CertificateFilesIn(path_.wstring()); }

private:
    std::filesystem::path path_;
};

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& content);

TlsFiles NarrowTlsFiles(const CertificateFiles& files);

// A loaded context with a certificate of its own.
struct Identity {
    Identity();

    TempFolder folder;
    EventLog log;
    TlsContext context{log};
};

}  // namespace harbinet::test
