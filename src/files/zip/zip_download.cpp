#include "files/zip/zip_download.h"

#include <string>
#include <vector>

#include "app/encoding.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/web_path.h"
#include "files/zip/archive.h"
#include "http/json.h"
#include "http/response.h"

namespace harbinet {
namespace {

// The folder's place in the web root, so that the archive unpacks to the same tree.
std::string EntryPrefix(std::string path) {
    std::string prefix = NormalizeRelPath(std::move(path));
    if (!prefix.empty() && !prefix.ends_with('/')) prefix += '/';
    return prefix;
}

std::vector<ZipItem> SelectedItems(const std::wstring& folder, const std::string& prefix,
                                   const std::vector<std::string>& names) {
    std::vector<ZipItem> items;
    for (const std::string& utf8_name : names) {
        const std::wstring name = Utf8ToWide(utf8_name);
        if (!StaysInFolder(name)) continue;
        items.push_back({.path = JoinDirName(folder, name), .entry_name = prefix + utf8_name});
    }
    return items;
}

}  // namespace

void ServeZip(const FileServices& services, Exchange& exchange) {
    Stream& stream = exchange.stream;
    ReadJsonBody(exchange);
    const std::string& body = exchange.request.body;
    std::vector<std::string> names;
    if (!JsonGetStringArray(body, "names", names) || names.empty()) {
        return ReplyError(stream, 400, "Missing names[]");
    }
    const std::string path = JsonGetString(body, "path");
    const std::wstring folder =
        ResolveWebPath(services.files, services.web_root.Get(), Utf8ToWide(path));
    if (folder.empty()) return ReplyError(stream, 400, "Invalid path");

    std::vector<ZipItem> items = SelectedItems(folder, EntryPrefix(path), names);
    std::uint64_t total = 0;
    const std::string_view refusal = ZipPrecheck(services.files, items, kZipLimit, total);
    if (!refusal.empty()) return ReplyError(stream, 413, refusal);
    services.log.Log(L"ZIP     precheck ok total=" + std::to_wstring(total) + L" bytes");

    ZipBuffer archive;
    if (!BuildZipArchive(services.files, items, archive)) {
        return ReplyError(stream, 400, "No readable files to zip.");
    }
    if (archive.Size() >= kZipLimit) {
        return ReplyError(stream, 413, "ZIP would exceed 4 GB. Please reduce selection.");
    }
    // The number of names as sent is meant: skipped ones are counted too.
    services.log.Log(L"ZIP     created (" + std::to_wstring(archive.Size()) + L" bytes) for " +
                     std::to_wstring(names.size()) + L" file(s)");
    SendOkBytes(stream, kZipType, archive.View(),
                {{"Content-Disposition", "attachment; filename=\"download.zip\""}});
}

}  // namespace harbinet
