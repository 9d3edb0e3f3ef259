#include "files/folder_changes.h"

#include <optional>
#include <string>
#include <string_view>

#include "app/encoding.h"
#include "files/file_service.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/web_path.h"
#include "http/json.h"
#include "net/timeouts.h"

namespace harbinet {
namespace {

// What "path" names in a complete JSON body; empty when it is refused.
std::wstring ResolveBodyPath(const FileServices& services, const HttpRequest& request) {
    return ResolveWebPath(services.files, services.web_root.Get(),
                          Utf8ToWide(JsonGetString(request.body, "path")));
}

// The full path of the entry that "path" and "name" give; nothing when they are refused, and then
// the reply has been sent.
std::optional<std::wstring> ReadEntryPath(const FileServices& services, Exchange& exchange) {
    ReadJsonBody(exchange, kMaxEntryBodyBytes, kSmallBodyLimits);
    const std::wstring name = Utf8ToWide(JsonGetString(exchange.request.body, "name"));
    if (name.empty()) {
        ReplyError(exchange.stream, 400, "Missing name");
        return std::nullopt;
    }
    std::wstring folder = ResolveBodyPath(services, exchange.request);
    if (folder.empty()) {
        ReplyError(exchange.stream, 400, "Invalid path");
        return std::nullopt;
    }
    if (!StaysInFolder(name)) {
        ReplyError(exchange.stream, 400, "Invalid name");
        return std::nullopt;
    }
    return JoinDirName(std::move(folder), name);
}

bool DeleteFileOnly(FileSystem& files, const std::wstring& path) {
    return files.Kind(path) == PathKind::kFile && files.RemoveFile(path);
}

}  // namespace

void EnsureDirectory(FileSystem& files, const std::wstring& path) {
    if (files.Kind(path) == PathKind::kMissing) files.CreateFolders(path);
}

bool DeletePathEntry(FileSystem& files, const std::wstring& path) {
    const PathKind kind = files.Kind(path);
    if (kind == PathKind::kMissing) return false;
    return kind == PathKind::kFolder ? files.RemoveFolder(path) : files.RemoveFile(path);
}

void ServeMakeFolder(const FileServices& services, Exchange& exchange) {
    const auto path = ReadEntryPath(services, exchange);
    if (!path) return;
    // Success is reported whatever came of it: asking for a folder that exists is no error.
    EnsureDirectory(services.files, *path);
    services.log.Log(L"MKDIR   " + *path);
    ReplyOk(exchange.stream);
}

void ServeRemoveFolder(const FileServices& services, Exchange& exchange) {
    const auto path = ReadEntryPath(services, exchange);
    if (!path) return;
    if (!services.files.RemoveFolder(*path)) {
        return ReplyError(exchange.stream, 400, "Failed (folder must be empty)");
    }
    services.log.Log(L"RMDIR   " + *path);
    ReplyOk(exchange.stream);
}

void ServeDelete(const FileServices& services, Exchange& exchange) {
    const auto path = ReadEntryPath(services, exchange);
    if (!path) return;
    if (!DeletePathEntry(services.files, *path)) {
        return ReplyError(exchange.stream, 400, "Failed to delete");
    }
    services.log.Log(L"DELETE  " + *path);
    ReplyOk(exchange.stream);
}

void ServeDeleteMany(const FileServices& services, Exchange& exchange) {
    ReadJsonBody(exchange, kMaxJsonBodyBytes, kNamesBodyLimits);
    const std::string& body = exchange.request.body;
    const std::size_t count = JsonCountStrings(body, "names").value_or(0);
    if (count == 0) return ReplyError(exchange.stream, 400, "Missing names[]");
    const std::wstring folder = ResolveBodyPath(services, exchange.request);
    if (folder.empty()) return ReplyError(exchange.stream, 400, "Invalid path");

    std::size_t deleted = 0;
    JsonStringReader names(body, "names");
    for (std::string utf8_name; names.Next(utf8_name);) {
        if (utf8_name.size() > kMaxUtf8PathBytes) continue;
        const std::wstring name = Utf8ToWide(utf8_name);
        if (!IsSimpleName(name)) continue;
        const std::wstring path = JoinDirName(folder, name);
        if (!DeleteFileOnly(services.files, path)) continue;
        ++deleted;
        services.log.Log(L"DELETE  " + path);
    }
    ReplyOk(exchange.stream, "\"deleted\":" + std::to_string(deleted) +
                                 ",\"failed\":" + std::to_string(count - deleted));
}

}  // namespace harbinet
