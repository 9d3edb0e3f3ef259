#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "app/encoding.h"
#include "files/download.h"
#include "files/listing.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/shares/share_link_replies.h"
#include "files/shares/share_service.h"
#include "files/upload.h"
#include "files/web_path.h"
#include "http/json.h"
#include "http/response.h"
#include "net/timeouts.h"

namespace harbinet {
namespace {

struct FolderLink {
    std::string_view token;
    std::string_view sub_path;  // from its "/" on; empty when there is none
};

FolderLink SplitFolderLink(std::string_view path) {
    const std::string_view rest = path.substr(kFolderLinkPrefix.size());
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    return {rest.substr(0, slash), rest.substr(slash)};
}

std::optional<ShareEntry> FindFolder(const ShareServices& services, std::string_view token) {
    auto entry = services.shares.LookupShareLink(token);
    if (entry && !entry->is_directory) entry.reset();
    return entry;
}

std::wstring ResolveFolder(const ShareServices& services, const ShareEntry& entry) {
    return ResolveWebPath(services.files, services.web_root.Get(), entry.relative_path);
}

void ListSharedFolder(const ShareServices& services, Exchange& exchange, const ShareEntry& entry) {
    const std::wstring folder = ResolveFolder(services, entry);
    if (folder.empty()) return SendPlainError(exchange.stream, 404, "Not Found");
    const auto body = ListDirectoryJson(services.files, folder, ListedEntries::kFilesOnly);
    if (!body) {
        return SendResponse(exchange.stream, 404, "Not Found", kJsonType,
                            JsonError(kDirectoryNotFound));
    }
    SendOkBytes(exchange.stream, kJsonType, *body);
}

void DownloadFromSharedFolder(const ShareServices& services, Exchange& exchange,
                              const ShareEntry& entry) {
    Stream& stream = exchange.stream;
    const std::wstring name = WideQueryParam(exchange.request, "name");
    if (!IsSimpleName(name)) {
        return SendResponse(stream, 400, "Bad Request", kTextType, "Invalid name");
    }
    const std::wstring folder = ResolveFolder(services, entry);
    if (folder.empty()) return SendPlainError(stream, 404, "Not Found");
    const std::wstring path = JoinDirName(folder, name);
    if (services.files.Kind(path) != PathKind::kFile) {
        return SendPlainError(stream, 404, "Not Found");
    }
    DownloadWithLog(services, exchange, L"SHDIRDL ", path, WideToUtf8(name));
}

void RefuseDelete(Stream& stream, int status, std::string_view reason, std::string_view message) {
    SendResponse(stream, status, reason, kJsonType, JsonError(message));
}

void DeleteFromSharedFolder(const ShareServices& services, Exchange& exchange,
                            const ShareEntry& entry) {
    Stream& stream = exchange.stream;
    ReadJsonBody(exchange, kMaxEntryBodyBytes, kSmallBodyLimits);
    const std::wstring name = Utf8ToWide(JsonGetString(exchange.request.body, "name"));
    if (!IsSimpleName(name)) return RefuseDelete(stream, 400, "Bad Request", "Invalid name");
    const std::wstring folder = ResolveFolder(services, entry);
    if (folder.empty()) return RefuseDelete(stream, 400, "Bad Request", "Invalid dir");
    const std::wstring path = JoinDirName(folder, name);
    const PathKind kind = services.files.Kind(path);
    if (kind == PathKind::kMissing) return RefuseDelete(stream, 404, "Not Found", "Not found");
    if (kind == PathKind::kFolder) {
        return RefuseDelete(stream, 400, "Bad Request", "Directories cannot be deleted here");
    }
    if (!services.files.RemoveFile(path)) {
        return RefuseDelete(stream, 400, "Bad Request", "Failed to delete");
    }
    services.log.Log(L"SHDIRDEL " + path);
    ReplyOk(stream);
}

void RefuseUpload(Stream& stream, int status, std::string_view message) {
    SendResponse(stream, status, status == 411 ? "Length Required" : "Bad Request", kTextType,
                 message);
}

// Plain text on purpose: the shared folder page shows the reply as it is.
constexpr UploadReplies kSharedFolderReplies{
    .chunked = "Chunked upload not supported",
    .bad_folder = "Invalid dir",
    .refuse = RefuseUpload,
};

void UploadToSharedFolder(const ShareServices& services, Exchange& exchange,
                          const ShareEntry& entry) {
    UploadInto(services, exchange, entry.relative_path, kSharedFolderReplies);
}

struct FolderAction {
    std::string_view sub_path;
    void (*serve)(const ShareServices& services, Exchange& exchange, const ShareEntry& entry);
};

constexpr FolderAction kGetActions[] = {
    {"/api/list", ListSharedFolder},
    {"/download", DownloadFromSharedFolder},
};

constexpr FolderAction kPostActions[] = {
    {"/api/delete", DeleteFromSharedFolder},
    {"/upload", UploadToSharedFolder},
};

void ServeAction(std::span<const FolderAction> actions, const ShareServices& services,
                 Exchange& exchange, std::string_view sub_path, const ShareEntry& entry) {
    for (const FolderAction& action : actions) {
        if (action.sub_path == sub_path) return action.serve(services, exchange, entry);
    }
    SendPlainError(exchange.stream, 404, "Not Found");
}

}  // namespace

void ServeFolderLinkGet(const ShareServices& services, std::string_view page, Exchange& exchange) {
    const FolderLink link = SplitFolderLink(exchange.request.path);
    const auto entry = FindFolder(services, link.token);
    if (!entry) return SendLinkGone(exchange.stream);
    if (link.sub_path.empty() || link.sub_path == "/") {
        return SendOkBytes(exchange.stream, kHtmlType, page);
    }
    ServeAction(kGetActions, services, exchange, link.sub_path, *entry);
}

void ServeFolderLinkPost(const ShareServices& services, Exchange& exchange) {
    const FolderLink link = SplitFolderLink(exchange.request.path);
    const auto entry = FindFolder(services, link.token);
    if (!entry) return SendLinkGone(exchange.stream);
    ServeAction(kPostActions, services, exchange, link.sub_path, *entry);
}

}  // namespace harbinet
