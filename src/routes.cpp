#include "routes.h"

#include <string>

#include "files/zip/zip_download.h"
#include "http/response.h"
#include "web/pages.h"

namespace harbinet {
namespace {

constexpr std::string_view kGet = "GET";
constexpr std::string_view kPost = "POST";
constexpr auto kExact = PathMatch::kExact;
constexpr auto kPrefix = PathMatch::kPrefix;
constexpr auto kPublic = Access::kPublic;
constexpr auto kSession = Access::kSession;

void ServeStatus(const RouteServices& services, Exchange& exchange) {
    const ServerStatus status = services.status();
    const std::string body = std::string(R"({"running":)") +
                             (status.is_running ? "true" : "false") + R"(,"port":)" +
                             std::to_string(status.port) + "}";
    SendResponse(exchange.stream, 200, "OK", kJsonType, body);
}

void ServeStartPage(const RouteServices& services, Exchange& exchange) {
    const bool logged_in = services.credentials.IsSessionValid(exchange.request.headers);
    SendResponse(exchange.stream, 200, "OK", kHtmlType, logged_in ? kFileManagerPage : kLoginPage);
}

}  // namespace

RouteTable BuildRoutes(const RouteServices& services) {
    const auto file = [&services](void (*serve)(const FileServices&, Exchange&)) -> RequestHandler {
        return [&services, serve](Exchange& exchange) { serve(services.files, exchange); };
    };
    const auto link =
        [&services](void (*serve)(const ShareServices&, Exchange&)) -> RequestHandler {
        return [&services, serve](Exchange& exchange) { serve(services.files, exchange); };
    };
    const auto own = [&services](void (*serve)(const RouteServices&, Exchange&)) -> RequestHandler {
        return [&services, serve](Exchange& exchange) { serve(services, exchange); };
    };
    const auto login = [&services](void (LoginService::*serve)(Exchange&)) -> RequestHandler {
        return [&services, serve](Exchange& exchange) { (services.login.*serve)(exchange); };
    };
    const RequestHandler folder_link = [&services](Exchange& exchange) {
        ServeFolderLinkGet(services.files, kSharedFolderPage, exchange);
    };

    // The order of the rows is the order of the comparisons. A POST needs one character more than
    // "/d/".
    return RouteTable{
        {
            {kGet, kPrefix, "/s/", 3, kPublic, link(ServeFileLink)},
            {kGet, kExact, "/api/status", 0, kPublic, own(ServeStatus)},
            {kGet, kExact, "/", 0, kPublic, own(ServeStartPage)},
            {kPost, kExact, "/api/login", 0, kPublic, login(&LoginService::Login)},
            {kGet, kPrefix, "/d/", 3, kPublic, folder_link},
            {kPost, kPrefix, "/d/", 4, kPublic, link(ServeFolderLinkPost)},
            {kGet, kExact, "/auto", 0, kPublic, login(&LoginService::AutoLogin)},
            {kGet, kExact, "/api/share", 0, kSession, link(ServeCreateShareLink)},
            {kGet, kExact, "/api/list", 0, kSession, file(ServeListing)},
            {kGet, kExact, "/download", 0, kSession, file(ServeDownload)},
            {kPost, kExact, "/upload", 0, kSession, file(ServeUpload)},
            {kPost, kExact, "/api/mkdir", 0, kSession, file(ServeMakeFolder)},
            {kPost, kExact, "/api/rmdir", 0, kSession, file(ServeRemoveFolder)},
            {kPost, kExact, "/api/delete", 0, kSession, file(ServeDelete)},
            {kPost, kExact, "/api/delete_many", 0, kSession, file(ServeDeleteMany)},
            {kPost, kExact, "/api/zip", 0, kSession, file(ServeZip)},
        },
        {"/api/login"},
        [&services](HeaderList headers) { return services.credentials.IsSessionValid(headers); },
    };
}

}  // namespace harbinet
