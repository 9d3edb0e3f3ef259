#include "net/tls_context.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <thread>

#include "net/net_fixtures.h"

namespace harbinet {
namespace {

using test::Messages;
using test::NarrowTlsFiles;
using test::ReadFile;
using test::TempFolder;
using test::WriteFile;
using Lines = std::vector<std::wstring>;

std::string KeyPem(const EvpPkeyPtr& key) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

class TlsContextTest : public testing::Test {
protected:
    TlsContextTest() {
        EXPECT_TRUE(EnsureCertificate(files_, "127.0.0.1", log_));
        log_.Clear();
    }
    bool Ensure() { return context_.Ensure(NarrowTlsFiles(files_)); }

    // Fails with `line` first and nothing but OpenSSL's own lines after it.
    void ExpectFailure(const std::wstring& line) {
        log_.Clear();
        EXPECT_FALSE(Ensure());
        EXPECT_FALSE(context_.IsLoaded());
        EXPECT_EQ(context_.Get(), nullptr);
        const Lines messages = Messages(log_);
        ASSERT_GE(messages.size(), 2u);
        EXPECT_EQ(messages[0], line);
        for (std::size_t i = 1; i < messages.size(); ++i) {
            EXPECT_TRUE(messages[i].starts_with(L"TLS: error:")) << i;
        }
        EXPECT_EQ(ERR_peek_error(), 0u);
    }

    const TempFolder folder_;
    const CertificateFiles files_ = folder_.Files();
    EventLog log_;
    TlsContext context_{log_};
};

const wchar_t kBadCertificate[] = L"TLS     failed to load server.crt (PEM) from EXE dir";
const wchar_t kBadKey[] = L"TLS     failed to load server.key (PEM) from EXE dir";
const wchar_t kForeignKey[] = L"TLS     private key does not match certificate";

TEST_F(TlsContextTest, LoadsOnceAndStaysForEveryLaterStart) {
    EXPECT_FALSE(context_.IsLoaded());
    EXPECT_TRUE(Ensure());
    EXPECT_EQ(Messages(log_), Lines{L"TLS     context initialized (cert/key loaded)"});
    const std::shared_ptr<SSL_CTX> first = context_.Get();
    ASSERT_NE(first, nullptr);
    std::filesystem::remove(files_.key);
    EXPECT_TRUE(Ensure());
    EXPECT_EQ(context_.Get(), first);
    EXPECT_EQ(log_.Snapshot().size(), 1u);
}

TEST_F(TlsContextTest, AllowsNothingBelowTls12AndHasNoUpperLimit) {
    ASSERT_TRUE(Ensure());
    EXPECT_EQ(SSL_CTX_get_min_proto_version(context_.Get().get()), TLS1_2_VERSION);
    EXPECT_EQ(SSL_CTX_get_max_proto_version(context_.Get().get()), 0);
    EXPECT_EQ(SSL_CTX_get_verify_mode(context_.Get().get()), SSL_VERIFY_NONE);
}

TEST_F(TlsContextTest, AConnectionKeepsTheContextAfterItIsFreed) {
    ASSERT_TRUE(Ensure());
    const std::shared_ptr<SSL_CTX> held = context_.Get();
    context_.Free();
    EXPECT_FALSE(context_.IsLoaded());
    const SslPtr connection(SSL_new(held.get()));
    EXPECT_NE(connection, nullptr);
}

TEST_F(TlsContextTest, AMissingOrDamagedCertificateFails) {
    const std::string good = ReadFile(files_.certificate);
    std::filesystem::remove(files_.certificate);
    ExpectFailure(kBadCertificate);
    for (const std::string& content : {std::string(), std::string("garbage\n"),
                                       good.substr(0, good.size() / 2), ReadFile(files_.key)}) {
        WriteFile(files_.certificate, content);
        ExpectFailure(kBadCertificate);
    }
}

TEST_F(TlsContextTest, AMissingOrDamagedKeyFails) {
    const std::string good = ReadFile(files_.key);
    std::filesystem::remove(files_.key);
    ExpectFailure(kBadKey);
    for (const std::string& content :
         {std::string(), std::string("garbage\n"), good.substr(0, good.size() / 2),
          ReadFile(files_.certificate)}) {
        WriteFile(files_.key, content);
        ExpectFailure(kBadKey);
    }
}

TEST_F(TlsContextTest, TheKeyOfAnotherCertificateDoesNotMatch) {
    const TempFolder other;
    EventLog other_log;
    ASSERT_TRUE(EnsureCertificate(other.Files(), "127.0.0.1", other_log));
    WriteFile(files_.key, ReadFile(other.Files().key));
    ExpectFailure(kForeignKey);
    EXPECT_TRUE(Messages(log_).back().ends_with(L"key values mismatch"));
}

TEST_F(TlsContextTest, KeysOfOtherKindsDoNotMatch) {
    WriteFile(files_.key, KeyPem(EvpPkeyPtr(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-384"))));
    ExpectFailure(kForeignKey);
    WriteFile(files_.key, KeyPem(EvpPkeyPtr(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA",
                                                              static_cast<std::size_t>(2048)))));
    ExpectFailure(kForeignKey);
}

TEST_F(TlsContextTest, AFailureCanBeRepaired) {
    const std::string key = ReadFile(files_.key);
    WriteFile(files_.key, "");
    ExpectFailure(kBadKey);
    WriteFile(files_.key, key);
    log_.Clear();
    EXPECT_TRUE(Ensure());
    EXPECT_EQ(Messages(log_), Lines{L"TLS     context initialized (cert/key loaded)"});
}

TEST_F(TlsContextTest, ConnectionsReadItWhileItIsMadeAndFreed) {
    std::atomic<bool> done = false;
    std::thread reader([this, &done] {
        while (!done) {
            const std::shared_ptr<SSL_CTX> context = context_.Get();
            if (context == nullptr) continue;
            EXPECT_NE(SslPtr(SSL_new(context.get())), nullptr);
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(Ensure());
        context_.Free();
    }
    done = true;
    reader.join();
}

}  // namespace
}  // namespace harbinet
