#include "net/certificate.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string_view>
#include <system_error>

#include "app/ascii.h"
#include "app/ui_thread.h"
#include "net/openssl_errors.h"
#include "net/openssl_init.h"
#include "net/openssl_ptr.h"

namespace harbinet {
namespace {

constexpr long kValiditySeconds = 315'360'000;  // 3650 days
constexpr long kVersion3 = 2;

struct NameEntry {
    const char* field;
    const char* text;
};
constexpr std::array<NameEntry, 2> kName = {{
    {"CN", "Harbinet PRO"},
    {"O", "Harbinet PRO Temporary Certificate"},
}};

EvpPkeyPtr MakeKey() {
    const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_id(EVP_PKEY_EC, nullptr));
    EVP_PKEY* key = nullptr;
    if (!context || EVP_PKEY_keygen_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context.get(), NID_X9_62_prime256v1) <= 0 ||
        EVP_PKEY_keygen(context.get(), &key) <= 0) {
        return nullptr;
    }
    return EvpPkeyPtr(key);
}

long RandomSerial() {
    // A failing generator leaves zeros: the certificate is then made with serial 0.
    std::array<unsigned char, 4> bytes{};
    RAND_bytes(bytes.data(), static_cast<int>(bytes.size()));
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    return static_cast<long>(value & 0x7FFFFFFF);
}

bool SetNames(X509* certificate) {
    X509_NAME* name = X509_get_subject_name(certificate);
    for (const NameEntry& entry : kName) {
        if (X509_NAME_add_entry_by_txt(name, entry.field, MBSTRING_ASC,
                                       reinterpret_cast<const unsigned char*>(entry.text), -1, -1,
                                       0) != 1) {
            return false;
        }
    }
    return X509_set_issuer_name(certificate, name) == 1;
}

bool AddExtension(X509* certificate, X509V3_CTX* context, int nid, const std::string& value) {
    const X509ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, context, nid, value.c_str()));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

bool AddExtensions(X509* certificate, const std::string& address) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    return AddExtension(certificate, &context, NID_basic_constraints, "CA:FALSE") &&
           AddExtension(certificate, &context, NID_key_usage, "digitalSignature,keyEncipherment") &&
           AddExtension(certificate, &context, NID_ext_key_usage, "serverAuth") &&
           AddExtension(certificate, &context, NID_subject_alt_name,
                        "IP:" + address + ",DNS:localhost");
}

X509Ptr BuildCertificate(EVP_PKEY* key, const std::string& address) {
    X509Ptr certificate(X509_new());
    if (!certificate) return nullptr;
    X509* const cert = certificate.get();
    if (X509_set_version(cert, kVersion3) != 1 ||
        ASN1_INTEGER_set(X509_get_serialNumber(cert), RandomSerial()) != 1 ||
        X509_gmtime_adj(X509_getm_notBefore(cert), 0) == nullptr ||
        X509_gmtime_adj(X509_getm_notAfter(cert), kValiditySeconds) == nullptr || !SetNames(cert) ||
        X509_set_pubkey(cert, key) != 1 || !AddExtensions(cert, address) ||
        X509_sign(cert, key, EVP_sha256()) <= 0) {
        return nullptr;
    }
    return certificate;
}

bool WriteFile(const std::filesystem::path& path, BIO* content) {
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(content, &bytes);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes, size);
    file.close();
    return !file.fail();
}

bool WriteKey(const std::filesystem::path& path, const EVP_PKEY* key) {
    const BioPtr pem(BIO_new(BIO_s_mem()));
    return pem &&
           PEM_write_bio_PrivateKey(pem.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
           WriteFile(path, pem.get());
}

bool WriteCertificate(const std::filesystem::path& path, const X509* certificate) {
    const BioPtr pem(BIO_new(BIO_s_mem()));
    return pem && PEM_write_bio_X509(pem.get(), certificate) == 1 && WriteFile(path, pem.get());
}

bool IsFile(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored) && !std::filesystem::is_directory(path, ignored);
}

std::string RecordedAddress(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    std::getline(file, line);
    line.erase(line.find_last_not_of("\r\n \t") + 1);
    return line;
}

bool EqualIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

bool IsReusable(const CertificateFiles& files, const std::string& address) {
    if (!IsFile(files.certificate) || !IsFile(files.key)) return false;
    const std::string recorded = RecordedAddress(files.address);
    return !recorded.empty() && EqualIgnoringCase(recorded, address);
}

}  // namespace

CertificateFiles CertificateFilesIn(const std::wstring& base_folder) {
    // Plain concatenation, so that an empty folder leads to the root of the current drive.
    const auto file = [&base_folder](const wchar_t* name) {
        return std::filesystem::path(
            base_folder + static_cast<wchar_t>(std::filesystem::path::preferred_separator) + name);
    };
    return {file(L"server.crt"), file(L"server.key"), file(L"server.ip")};
}

bool MakeCertificate(const std::filesystem::path& certificate, const std::filesystem::path& key,
                     const std::string& address) {
    AssertUiThread();
    InitOpenSsl();
    const EvpPkeyPtr new_key = MakeKey();
    if (!new_key) return false;
    const X509Ptr new_certificate = BuildCertificate(new_key.get(), address);
    // The key first: without a certificate file the next start makes both anew.
    return new_certificate && WriteKey(key, new_key.get()) &&
           WriteCertificate(certificate, new_certificate.get());
}

bool EnsureCertificate(const CertificateFiles& files, const std::string& address, EventLog& log) {
    AssertUiThread();
    const std::wstring shown_address = WidenAscii(address);
    if (IsReusable(files, address)) {
        log.Log(L"TLS     cert/key ok (IP=" + shown_address + L")");
        return true;
    }
    log.Log(L"TLS     generating cert/key (SAN IP=" + shown_address + L")");
    std::error_code ignored;
    std::filesystem::remove(files.certificate, ignored);
    std::filesystem::remove(files.key, ignored);
    if (!MakeCertificate(files.certificate, files.key, address)) {
        log.Log(L"TLS     ERROR generating certificate/key");
        LogOpenSslErrors(log);
        return false;
    }
    std::ofstream(files.address, std::ios::binary | std::ios::trunc) << address << '\n';
    log.Log(L"TLS     generated server.crt/server.key + server.ip");
    return true;
}

}  // namespace harbinet
