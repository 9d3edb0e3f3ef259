#include "net/net_fixtures.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <system_error>

namespace harbinet::test {

TempFolder::TempFolder()
    : path_(std::filesystem::temp_directory_path() /
            ("harbinet-net-" + std::to_string(std::random_device()()))) {
    std::filesystem::create_directories(path_);
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    EXPECT_TRUE(file.good()) << path;
}

TlsFiles NarrowTlsFiles(const CertificateFiles& files) {
    return {files.certificate.string(), files.key.string()};
}

Identity::Identity() {
    EXPECT_TRUE(EnsureCertificate(folder.Files(), "127.0.0.1", log));
    EXPECT_TRUE(context.Ensure(NarrowTlsFiles(folder.Files())));
    log.Clear();
}

}  // namespace harbinet::test
