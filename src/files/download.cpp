#include "files/download.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "app/encoding.h"
#include "app/large_buffer.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/web_path.h"
#include "http/response.h"

namespace harbinet {

bool StreamFileDownload(Stream& stream, FileSystem& files, const std::wstring& full_path,
                        std::string_view download_name) {
    const auto file = files.OpenForReading(full_path);
    if (!file) return false;
    const std::optional<std::uint64_t> size = file->Size();
    if (!size) return false;
    // The name goes out unescaped on purpose: browsers read the raw UTF-8 bytes.
    std::string disposition = "attachment; filename=\"";
    disposition.append(download_name) += '"';
    const std::string head =
        BuildHead(200, "OK", kBinaryType, *size, {{"Content-Disposition", disposition}});
    if (*size == 0) return stream.WriteAll(head);
    if (!stream.WriteSoon(head)) return false;

    LargeBuffer chunk(kDownloadChunkBytes);
    for (std::uint64_t remaining = *size; remaining > 0;) {
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(remaining, chunk.size()));
        const std::size_t count = file->Read({chunk.data(), wanted}).value_or(0);
        // Each chunk has gone out before the next one is read: a client that has left is noticed.
        if (count == 0 || !stream.WriteAll({chunk.data(), count})) return false;
        remaining -= count;
    }
    return true;
}

void DownloadWithLog(const FileServices& services, Exchange& exchange, std::wstring_view tag,
                     const std::wstring& full_path, std::string_view download_name) {
    exchange.request.ForgetHead();
    services.log.Log(std::wstring(tag) + full_path);
    if (!StreamFileDownload(exchange.stream, services.files, full_path, download_name)) {
        services.log.Log(std::wstring(tag) + L"failed: " + full_path);
    }
}

void ServeDownload(const FileServices& services, Exchange& exchange) {
    const std::wstring path = ResolveWebPath(services.files, services.web_root.Get(),
                                             WideQueryParam(exchange.request, "path"));
    if (path.empty()) {
        return SendResponse(exchange.stream, 400, "Bad Request", kTextType, "Invalid path");
    }
    if (services.files.Kind(path) != PathKind::kFile) {
        return SendPlainError(exchange.stream, 404, "Not Found");
    }
    DownloadWithLog(services, exchange, L"DL      ", path, WideToUtf8(FileBaseName(path)));
}

}  // namespace harbinet
