#include "files/listing.h"

#include "app/encoding.h"
#include "files/file_service.h"
#include "files/request_fields.h"
#include "files/web_path.h"
#include "http/json.h"
#include "http/response.h"

namespace harbinet {
namespace {

void AppendItem(std::string& items, const DirectoryEntry& entry, ListedEntries entries) {
    if (!items.empty()) items += ',';
    items += "{\"name\":\"";
    items += JsonEscape(WideToUtf8(entry.name));
    items += '"';
    if (entries == ListedEntries::kAll) {
        items += entry.is_directory ? ",\"type\":\"dir\"" : ",\"type\":\"file\"";
    }
    if (!entry.is_directory) {
        items += ",\"size\":";
        items += std::to_string(entry.size);
    }
    items += '}';
}

}  // namespace

std::optional<std::string> ListDirectoryJson(FileSystem& files, const std::wstring& folder,
                                             ListedEntries entries) {
    if (files.Kind(folder) != PathKind::kFolder) return std::nullopt;
    std::string items;
    files.List(folder, [&items, entries](const DirectoryEntry& entry) {
        if (entry.is_directory && entries == ListedEntries::kFilesOnly) return;
        AppendItem(items, entry, entries);
    });
    return JsonOk("\"items\":[" + items + "]");
}

void ServeListing(const FileServices& services, Exchange& exchange) {
    const std::wstring folder = ResolveWebPath(services.files, services.web_root.Get(),
                                               WideQueryParam(exchange.request, "path"));
    if (folder.empty()) return ReplyError(exchange.stream, 400, "Invalid path");
    const auto body = ListDirectoryJson(services.files, folder, ListedEntries::kAll);
    if (!body) return ReplyError(exchange.stream, 404, kDirectoryNotFound);
    SendOkBytes(exchange.stream, kJsonType, *body);
}

}  // namespace harbinet
