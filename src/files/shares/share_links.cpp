#include <optional>
#include <string>

#include "app/encoding.h"
#include "files/download.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/shares/share_link_replies.h"
#include "files/shares/share_service.h"
#include "files/web_path.h"
#include "http/json.h"
#include "http/response.h"

namespace harbinet {
namespace {

constexpr std::string_view kFileLinkPrefix = "/s/";
constexpr std::size_t kMinTokenLength = 32;

std::string LinkMembers(const HttpRequest& request, const std::string& token, bool is_directory) {
    const std::string link =
        std::string(is_directory ? kFolderLinkPrefix : kFileLinkPrefix) + token;
    const std::string_view host = GetHeader(request.headers, "host");
    const std::string url = host.empty() ? "" : "https://" + std::string(host) + link;
    return "\"path\":\"" + JsonEscape(link) + "\",\"url\":\"" + JsonEscape(url) + "\",\"kind\":\"" +
           (is_directory ? "dir" : "file") + "\",\"ttlSeconds\":" + std::to_string(kShareSeconds);
}

}  // namespace

void SendLinkGone(Stream& stream) {
    SendResponse(stream, 410, "Gone", kTextType, "Link expired or invalid");
}

void ServeCreateShareLink(const ShareServices& services, Exchange& exchange) {
    const std::wstring relative = NormalizeRelPath(WideQueryParam(exchange.request, "path"));
    const std::wstring path = ResolveWebPath(services.files, services.web_root.Get(), relative);
    if (path.empty()) return ReplyError(exchange.stream, 400, "Invalid path");
    const PathKind kind = services.files.Kind(path);
    if (kind == PathKind::kMissing) return ReplyError(exchange.stream, 404, "Not found");
    const bool is_directory = kind == PathKind::kFolder;
    // A link follows the web root: it keeps the relative path, not the full one.
    const std::string token = services.shares.CreateShareLink(relative, is_directory);
    if (token.empty()) return ReplyError(exchange.stream, 500, "Failed to create token");
    ReplyOk(exchange.stream, LinkMembers(exchange.request, token, is_directory));
}

void ServeFileLink(const ShareServices& services, Exchange& exchange) {
    Stream& stream = exchange.stream;
    const std::string_view token =
        std::string_view(exchange.request.path).substr(kFileLinkPrefix.size());
    if (token.size() < kMinTokenLength) return SendPlainError(stream, 404, "Not Found");
    const auto entry = services.shares.LookupShareLink(token);
    if (!entry || entry->is_directory) return SendLinkGone(stream);
    const std::wstring path =
        ResolveWebPath(services.files, services.web_root.Get(), entry->relative_path);
    if (path.empty() || services.files.Kind(path) != PathKind::kFile) {
        return SendPlainError(stream, 404, "Not Found");
    }
    DownloadWithLog(services, exchange, L"SHAREDL ", path, WideToUtf8(FileBaseName(path)));
}

}  // namespace harbinet
