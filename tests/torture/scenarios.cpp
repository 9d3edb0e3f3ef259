#include "scenarios.h"

namespace harbinet::test {
namespace {

constexpr std::string_view kOk = "HTTP/1.1 200 OK";
constexpr std::string_view kBad = "HTTP/1.1 400 Error";
constexpr std::string_view kBadRequest = "HTTP/1.1 400 Bad Request";
constexpr std::string_view kNotFound = "HTTP/1.1 404 Not Found";
constexpr std::string_view kMissing = "HTTP/1.1 404 Error";
constexpr std::string_view kGone = "HTTP/1.1 410 Gone";
constexpr std::string_view kTooLarge = "HTTP/1.1 413 Error";
constexpr std::string_view kBanned = "HTTP/1.1 429 Error";
constexpr std::string_view kOkJson = R"({"ok":true)";

std::string Get(const std::string& target, const std::string& headers = {}) {
    return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:8443\r\n" + headers + "\r\n";
}

std::string Session(const FullSite& site) { return "Cookie: AUTH=" + site.session + "\r\n"; }

std::string GetInSession(const FullSite& site, const std::string& target) {
    return Get(target, Session(site));
}

std::string PostBody(const std::string& target, const std::string& body,
                     const std::string& headers = {}) {
    return "POST " + target + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n" + headers + "\r\n" + body;
}

std::string PostInSession(const FullSite& site, const std::string& target,
                          const std::string& body) {
    return PostBody(target, body, Session(site));
}

std::string Login(const std::string& code) {
    return PostBody("/api/login", R"({"code":")" + code + "\"}");
}

std::string Part(const std::string& name, const std::string& content) {
    return "--B\r\nContent-Disposition: form-data; name=\"f\"; filename=\"" + name + "\"\r\n\r\n" +
           content + "\r\n";
}

std::string Form(const std::string& parts) { return parts + "--B--\r\n"; }

std::string UploadTo(const std::string& target, const std::string& form,
                     const std::string& headers) {
    return PostBody(target, form, headers + "Content-Type: multipart/form-data; boundary=B\r\n");
}

std::string UploadInSession(const FullSite& site, const std::string& form,
                            const std::string& target = "/upload?path=docs") {
    return UploadTo(target, form, Session(site));
}

std::string UploadHead(const FullSite& site, const std::string& headers) {
    return "POST /upload?path=docs HTTP/1.1\r\n" + Session(site) + headers + "\r\n";
}

// A body that ends early: the client closes in the middle of a file.
std::string HalfAnUpload(const FullSite& site) {
    const std::string whole =
        UploadInSession(site, Form(Part("half.bin", std::string(90'000, 'h'))));
    return whole.substr(0, whole.size() - 40'000);
}

void FailTwice(FullSite& site) {
    site.bans.RecordFailure("10.0.0.7", kSiteStart);
    site.bans.RecordFailure("10.0.0.7", kSiteStart);
}
void Ban(FullSite& site) {
    FailTwice(site);
    site.bans.RecordFailure("10.0.0.7", kSiteStart);
}
void FillTheDisk(FullSite& site) { site.files.FailOnce(FileCall::kCreateForWriting); }

constexpr std::string_view kNoMemory =
    R"({"ok":false,"error":"Not enough memory for the ZIP. Please reduce selection."})";

std::vector<Scenario> LoginScenarios() {
    return {
        {"status", [](const FullSite&) { return Get("/api/status"); }, kOk,
         R"({"running":true,"port":8443})"},
        {"login page", [](const FullSite&) { return Get("/"); }, kOk, "<!doctype html>"},
        {"file manager", [](const FullSite& site) { return GetInSession(site, "/"); }, kOk,
         "<!doctype html>"},
        {"login accepted", [](const FullSite&) { return Login(kPin); }, kOk, kOkJson},
        {"login refused", [](const FullSite&) { return Login("111111"); }, "HTTP/1.1 401 Error",
         R"({"ok":false,"error":"Wrong code"})"},
        {"login refused and banned", [](const FullSite&) { return Login("111111"); }, kBanned,
         R"({"ok":false,"error":"Too many attempts.)", FailTwice},
        {"login of a banned client", [](const FullSite&) { return Login(kPin); }, "", "", Ban},
        {"login without six digits", [](const FullSite&) { return Login("12"); }, kBad,
         R"({"ok":false,"error":"Code must be 6 digits"})"},
        {"login with a body of 1 MB",
         [](const FullSite&) { return Login(std::string(1'000'000, '1')); }, kBad,
         R"({"ok":false,"error":"Code must be 6 digits"})"},
        {"auto-login accepted",
         [](const FullSite&) { return Get(std::string("/auto?pin=") + kPin); }, kOk,
         "<!doctype html>"},
        {"auto-login refused", [](const FullSite&) { return Get("/auto?pin=111111"); },
         "HTTP/1.1 401 Error", "<!doctype html>"},
        {"auto-login refused and banned", [](const FullSite&) { return Get("/auto?pin=111111"); },
         kBanned, "<!doctype html>", FailTwice},
        {"auto-login of a banned client", [](const FullSite&) { return Get("/auto?pin=1"); },
         kBanned, "<!doctype html>", Ban},
    };
}

std::vector<Scenario> HeadScenarios() {
    return {
        {"no session", [](const FullSite&) { return Get("/api/list?path="); },
         "HTTP/1.1 401 Unauthorized", "Unauthorized"},
        {"two words", [](const FullSite&) { return std::string("GET /\r\n\r\n"); }, kBadRequest,
         "Bad Request"},
        {"half a head",
         [](const FullSite&) { return std::string("GET /api/status HTTP/1.1\r\nX: y"); }, "", ""},
        {"a head of 60 KB",
         [](const FullSite&) {
             std::string headers;
             for (int i = 0; i < 3000; ++i)
                 headers += "x-name-" + std::to_string(i) + ": value\r\n";
             return Get("/api/status", headers);
         },
         kOk, R"({"running":true,"port":8443})"},
    };
}

std::vector<Scenario> ReadingScenarios() {
    return {
        {"unknown route", [](const FullSite& site) { return GetInSession(site, "/nothing"); },
         kNotFound, "Not Found"},
        {"listing", [](const FullSite& site) { return GetInSession(site, "/api/list?path="); }, kOk,
         R"({"ok":true,"items":[{"name":"a.txt","type":"file","size":6},)"},
        {"listing of nothing",
         [](const FullSite& site) { return GetInSession(site, "/api/list?path=gone"); }, kMissing,
         R"({"ok":false,"error":"Directory not found"})"},
        {"listing outside",
         [](const FullSite& site) { return GetInSession(site, "/api/list?path=.."); }, kBad,
         R"({"ok":false,"error":"Invalid path"})"},
        {"download",
         [](const FullSite& site) { return GetInSession(site, "/download?path=large"); }, kOk,
         "llll"},
        {"download of an empty file",
         [](const FullSite& site) { return GetInSession(site, "/download?path=empty"); }, kOk, ""},
        {"download of nothing",
         [](const FullSite& site) { return GetInSession(site, "/download?path=gone"); }, kNotFound,
         "Not Found"},
        {"download outside",
         [](const FullSite& site) { return GetInSession(site, "/download?path=.."); }, kBadRequest,
         "Invalid path"},
    };
}

std::vector<Scenario> ChangingScenarios() {
    return {
        {"mkdir",
         [](const FullSite& site) {
             return PostInSession(site, "/api/mkdir", R"({"path":"docs","name":"made"})");
         },
         kOk, R"({"ok":true})"},
        {"mkdir without a name",
         [](const FullSite& site) {
             return PostInSession(site, "/api/mkdir", R"({"path":"docs"})");
         },
         kBad, R"({"ok":false,"error":"Missing name"})"},
        {"rmdir",
         [](const FullSite& site) {
             return PostInSession(site, "/api/rmdir", R"({"path":"","name":"hollow"})");
         },
         kOk, R"({"ok":true})"},
        {"rmdir of a full folder",
         [](const FullSite& site) {
             return PostInSession(site, "/api/rmdir", R"({"path":"","name":"docs"})");
         },
         kBad, R"x({"ok":false,"error":"Failed (folder must be empty)"})x"},
        {"delete",
         [](const FullSite& site) {
             return PostInSession(site, "/api/delete", R"({"path":"docs","name":"b.txt"})");
         },
         kOk, R"({"ok":true})"},
        {"delete of a read-only file",
         [](const FullSite& site) {
             return PostInSession(site, "/api/delete", R"({"path":"","name":"fixed"})");
         },
         kBad, R"({"ok":false,"error":"Failed to delete"})"},
        {"delete_many",
         [](const FullSite& site) {
             return PostInSession(site, "/api/delete_many",
                                  R"({"path":"","names":["a.txt","..","docs","empty"]})");
         },
         kOk, R"({"ok":true,"deleted":2,"failed":2})"},
        {"delete_many without names",
         [](const FullSite& site) { return PostInSession(site, "/api/delete_many", "{}"); }, kBad,
         R"({"ok":false,"error":"Missing names[]"})"},
    };
}

std::vector<Scenario> ZipScenarios() {
    return {
        {.name = "zip",
         .request =
             [](const FullSite& site) {
                 return PostInSession(site, "/api/zip",
                                      R"({"path":"","names":["a.txt","large","gone"]})");
             },
         .status = kOk,
         .body = "PK\x03\x04",
         .instead = kNoMemory},
        {.name = "zip of nothing",
         .request =
             [](const FullSite& site) {
                 return PostInSession(site, "/api/zip", R"({"path":"","names":["gone",""]})");
             },
         .status = kBad,
         .body = R"({"ok":false,"error":"No readable files to zip."})",
         .instead = kNoMemory},
        {.name = "zip of too much",
         .request =
             [](const FullSite& site) {
                 return PostInSession(site, "/api/zip", R"({"path":"","names":["a.txt","limit"]})");
             },
         .status = kTooLarge,
         .body = R"x({"ok":false,"error":"Selected files exceed the ZIP limit (4 GB)."})x",
         .instead = kNoMemory},
        {"zip without names",
         [](const FullSite& site) { return PostInSession(site, "/api/zip", "{}"); }, kBad,
         R"({"ok":false,"error":"Missing names[]"})"},
    };
}

std::vector<Scenario> UploadScenarios() {
    return {
        {"upload",
         [](const FullSite& site) {
             return UploadInSession(
                 site, Form(Part("one.bin", std::string(400'000, '1')) +
                            "--B\r\nContent-Disposition: form-data; name=\"n\"\r\n\r\ntext\r\n" +
                            Part("a.txt", "two")));
         },
         kOk, R"({"ok":true})"},
        {"upload that breaks off", HalfAnUpload, kBad, R"({"ok":false,"error":"Upload aborted"})"},
        {"upload without a delimiter",
         [](const FullSite& site) { return UploadInSession(site, std::string(50'000, 'x')); }, kBad,
         R"({"ok":false,"error":"Upload aborted"})"},
        {"upload that the disk refuses",
         [](const FullSite& site) { return UploadInSession(site, Form(Part("new", "x"))); }, kBad,
         R"({"ok":false,"error":"Failed to write file"})", FillTheDisk},
        {"upload outside",
         [](const FullSite& site) {
             return UploadInSession(site, Form(Part("new", "x")), "/upload?path=..");
         },
         kBad, R"({"ok":false,"error":"Invalid path"})"},
        {"upload in chunks",
         [](const FullSite& site) { return UploadHead(site, "Transfer-Encoding: chunked\r\n"); },
         "HTTP/1.1 411 Error", R"({"ok":false,"error":"Chunked upload not supported)"},
        {"upload without a boundary",
         [](const FullSite& site) { return UploadHead(site, "Content-Length: 5\r\n"); }, kBad,
         R"({"ok":false,"error":"Missing multipart boundary"})"},
        {"upload without a length",
         [](const FullSite& site) {
             return UploadHead(site, "Content-Type: multipart/form-data; boundary=B\r\n");
         },
         "HTTP/1.1 411 Error", R"({"ok":false,"error":"Content-Length required"})"},
    };
}

std::vector<Scenario> SharingScenarios() {
    return {
        {"sharing a file",
         [](const FullSite& site) { return GetInSession(site, "/api/share?path=a.txt"); }, kOk,
         R"({"ok":true,"path":"/s/)"},
        {"sharing a folder",
         [](const FullSite& site) { return GetInSession(site, "/api/share?path=docs"); }, kOk,
         R"({"ok":true,"path":"/d/)"},
        {"sharing nothing",
         [](const FullSite& site) { return GetInSession(site, "/api/share?path=gone"); }, kMissing,
         R"({"ok":false,"error":"Not found"})"},
        {"sharing the root",
         [](const FullSite& site) { return GetInSession(site, "/api/share?path="); },
         "HTTP/1.1 500 Error", R"({"ok":false,"error":"Failed to create token"})"},
        {"file link", [](const FullSite& site) { return Get("/s/" + site.file_link); }, kOk,
         "inside"},
        {"file link that is unknown",
         [](const FullSite&) { return Get("/s/" + std::string(64, '0')); }, kGone,
         "Link expired or invalid"},
        {"file link that is too short", [](const FullSite&) { return Get("/s/0"); }, kNotFound,
         "Not Found"},
        {"file link to a lost file",
         [](const FullSite& site) { return Get("/s/" + site.lost_link); }, kNotFound, "Not Found"},
    };
}

std::vector<Scenario> SharedFolderScenarios() {
    return {
        {"folder link", [](const FullSite& site) { return Get("/d/" + site.folder_link); }, kOk,
         "<!doctype html>"},
        {"folder link that is unknown", [](const FullSite&) { return Get("/d/0"); }, kGone,
         "Link expired or invalid"},
        {"folder link to nothing",
         [](const FullSite& site) { return Get("/d/" + site.folder_link + "/x"); }, kNotFound,
         "Not Found"},
        {"shared listing",
         [](const FullSite& site) { return Get("/d/" + site.folder_link + "/api/list"); }, kOk,
         R"({"ok":true,"items":[{"name":"b.txt","size":13}]})"},
        {"shared download",
         [](const FullSite& site) {
             return Get("/d/" + site.folder_link + "/download?name=b.txt");
         },
         kOk, "deeper inside"},
        {"shared download of nothing",
         [](const FullSite& site) { return Get("/d/" + site.folder_link + "/download?name=gone"); },
         kNotFound, "Not Found"},
        {"shared delete",
         [](const FullSite& site) {
             return PostBody("/d/" + site.folder_link + "/api/delete", R"({"name":"b.txt"})");
         },
         kOk, R"({"ok":true})"},
        {"shared delete of a folder",
         [](const FullSite& site) {
             return PostBody("/d/" + site.folder_link + "/api/delete", R"({"name":"sub"})");
         },
         kBadRequest, R"({"ok":false,"error":"Directories cannot be deleted here"})"},
        {"shared upload",
         [](const FullSite& site) {
             return UploadTo("/d/" + site.folder_link + "/upload", Form(Part("new.txt", "new")),
                             {});
         },
         kOk, R"({"ok":true})"},
        {"shared upload that breaks off",
         [](const FullSite& site) {
             return UploadTo("/d/" + site.folder_link + "/upload", Part("new.txt", "new"), {});
         },
         kBadRequest, "Upload aborted"},
        {"shared upload without a boundary",
         [](const FullSite& site) { return PostBody("/d/" + site.folder_link + "/upload", "x"); },
         kBadRequest, "Missing multipart boundary"},
    };
}

std::vector<Scenario> ConnectionScenarios() {
    const auto status = [](const FullSite&) { return Get("/api/status"); };
    constexpr std::string_view kStatus = R"({"running":true,"port":8443})";
    constexpr auto kAll = CountFrom::kConnection;
    return {
        {.name = "connection with TLS 1.3",
         .request = status,
         .status = kOk,
         .body = kStatus,
         .count_from = kAll},
        {.name = "connection with TLS 1.2",
         .request = status,
         .status = kOk,
         .body = kStatus,
         .client = ClientKind::kTls12,
         .count_from = kAll},
        {.name = "connection of a client that distrusts the certificate",
         .request = status,
         .status = "",
         .body = "",
         .client = ClientKind::kDistrusts,
         .count_from = kAll},
        {.name = "connection without TLS",
         .request = status,
         .status = "",
         .body = "",
         .client = ClientKind::kPlain,
         .count_from = kAll},
    };
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
    static const std::vector<Scenario> all = [] {
        std::vector<Scenario> scenarios;
        for (const auto& some :
             {LoginScenarios(), HeadScenarios(), ReadingScenarios(), ChangingScenarios(),
              ZipScenarios(), UploadScenarios(), SharingScenarios(), SharedFolderScenarios(),
              ConnectionScenarios()}) {
            scenarios.insert(scenarios.end(), some.begin(), some.end());
        }
        return scenarios;
    }();
    return all;
}

std::string NextRequest() { return Login(kPin); }

}  // namespace harbinet::test
