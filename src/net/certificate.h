// The server's own identity: a self-signed P-256 certificate for one IPv4 address and the name
// localhost, kept as PEM files beside a text file that records the address it was made for. UI
// thread, during start-up, unless a function says otherwise.
#pragma once

#include <filesystem>
#include <string>

#include "app/event_log.h"

namespace harbinet {

struct CertificateFiles {
    std::filesystem::path certificate;  // server.crt
    std::filesystem::path key;          // server.key
    std::filesystem::path address;      // server.ip
};

// The three files in the base data folder; an empty folder gives paths in the root of the current
// drive. Any thread.
CertificateFiles CertificateFilesIn(const std::wstring& base_folder);

// Makes a new key and certificate for `address` (an IP literal) and writes both files, the key
// first. False when any step fails; OpenSSL's reasons are then in its error queue.
bool MakeCertificate(const std::filesystem::path& certificate, const std::filesystem::path& key,
                     const std::string& address);

// Keeps the files when all three are there and were made for `address`, otherwise makes them anew.
// False when that failed; the log then holds the reason.
bool EnsureCertificate(const CertificateFiles& files, const std::string& address, EventLog& log);

}  // namespace harbinet
