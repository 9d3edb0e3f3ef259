#include "files/zip/zip_download.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/encoding.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/web_path.h"
#include "files/zip/archive.h"
#include "http/json.h"
#include "http/response.h"
#include "net/timeouts.h"

namespace harbinet {
namespace {

// The folder's place in the web root, so that the archive unpacks to the same tree.
std::string EntryPrefix(std::string path) {
    std::string prefix = NormalizeRelPath(std::move(path));
    if (!prefix.empty() && !prefix.ends_with('/')) prefix += '/';
    return prefix;
}

// What the client gets: the archive, or an error message with its status.
struct ZipReply {
    ZipBuffer archive;
    int status = 200;
    std::string_view error;
};

ZipReply Refused(int status, std::string_view error) {
    return {.archive = {}, .status = status, .error = error};
}

// Fills `items` with the files among the names. Nothing is kept of a name that is none: a body may
// hold millions of them. An error message, or empty with `total`.
std::string_view SelectFiles(FileSystem& files, std::string_view body, const std::wstring& folder,
                             const std::string& prefix, std::vector<ZipItem>& items,
                             std::uint64_t& total) {
    JsonStringReader names(body, "names");
    for (std::string utf8_name; names.Next(utf8_name);) {
        if (utf8_name.empty() || utf8_name.size() > kMaxUtf8PathBytes) continue;
        const std::wstring name = Utf8ToWide(utf8_name);
        if (!StaysInFolder(name)) continue;
        ZipItem item{.path = JoinDirName(folder, name), .entry_name = prefix + utf8_name};
        const std::string_view error = ZipPrecheckItem(files, item, kZipLimit, total);
        if (!error.empty()) return error;
        if (item.is_present) items.push_back(std::move(item));
    }
    return ZipPrecheckTotal(total, kZipLimit);
}

// `count` is the number of names as sent, and that is meant: skipped ones are counted too.
ZipReply MakeArchive(const FileServices& services, std::string_view body,
                     const std::wstring& folder, const std::string& prefix, std::size_t count) {
    std::vector<ZipItem> items;
    std::uint64_t total = 0;
    const std::string_view error = SelectFiles(services.files, body, folder, prefix, items, total);
    if (!error.empty()) return Refused(413, error);
    services.log.Log(L"ZIP     precheck ok total=" + std::to_wstring(total) + L" bytes");

    ZipReply reply;
    const ZipResult result = BuildZipArchive(services.files, items, reply.archive);
    if (result == ZipResult::kNothingReadable) return Refused(400, "No readable files to zip.");
    if (result == ZipResult::kTooLarge || reply.archive.Size() >= kZipLimit) {
        return Refused(413, "ZIP would exceed 4 GB. Please reduce selection.");
    }
    services.log.Log(L"ZIP     created (" + std::to_wstring(reply.archive.Size()) +
                     L" bytes) for " + std::to_wstring(count) + L" file(s)");
    return reply;
}

}  // namespace

void ServeZip(const FileServices& services, Exchange& exchange) {
    Stream& stream = exchange.stream;
    ReadJsonBody(exchange, kMaxJsonBodyBytes, kNamesBodyLimits);
    const std::string& body = exchange.request.body;
    const std::size_t count = JsonCountStrings(body, "names").value_or(0);
    if (count == 0) return ReplyError(stream, 400, "Missing names[]");
    const std::string path = JsonGetString(body, "path");
    const std::wstring folder =
        ResolveWebPath(services.files, services.web_root.Get(), Utf8ToWide(path));
    if (folder.empty()) return ReplyError(stream, 400, "Invalid path");

    ZipReply reply;
    try {
        reply = MakeArchive(services, body, folder, EntryPrefix(path), count);
    } catch (const std::bad_alloc&) {
        // What the archive has taken is free again: there is room for an answer.
        reply = Refused(413, "Not enough memory for the ZIP. Please reduce selection.");
    }
    if (!reply.error.empty()) return ReplyError(stream, reply.status, reply.error);
    SendOkBytes(stream, kZipType, reply.archive.View(),
                {{"Content-Disposition", "attachment; filename=\"download.zip\""}});
}

}  // namespace harbinet
