#include "files/upload.h"

#include <algorithm>
#include <optional>

#include "app/encoding.h"
#include "files/buffered_writer.h"
#include "files/folder_changes.h"
#include "files/names.h"
#include "files/request_fields.h"
#include "files/web_path.h"
#include "http/ascii_case.h"
#include "http/multipart.h"
#include "net/timeouts.h"

namespace harbinet {
namespace {

constexpr std::string_view kAborted = "Upload aborted";
constexpr std::string_view kCannotCreate = "Failed to write file";

constexpr UploadReplies kWebRootReplies{
    .chunked = "Chunked upload not supported (needs Content-Length)",
    .bad_folder = "Invalid path",
    .refuse = ReplyError,
};

class FolderSink final : public MultipartSink {
public:
    FolderSink(const FileServices& services, const std::wstring& folder)
        : services_(services), folder_(folder) {}

    bool BeginFile(std::string_view name) override {
        const std::wstring path = JoinDirName(folder_, StoredFileName(name));
        auto file = services_.files.CreateForWriting(path);
        if (!file) return false;
        file_.emplace(std::move(file));
        services_.log.Log(L"UPLOAD  " + path);
        return true;
    }
    // An upload counts as a success also when its writing fails, here or at the end. That is meant.
    void Write(std::string_view bytes) override { file_->Write(bytes); }
    void EndFile() override { file_->Close(); }

private:
    const FileServices& services_;
    const std::wstring& folder_;
    std::optional<BufferedWriter> file_;
};

// What stands after "boundary=" up to the end of the value: browsers put it last, so nothing but
// a pair of quotes is taken off.
std::optional<std::string_view> BoundaryOf(std::string_view content_type) {
    constexpr std::string_view kParameter = "boundary=";
    const std::size_t parameter = FindIgnoringCase(content_type, kParameter);
    if (parameter == std::string_view::npos) return std::nullopt;
    std::string_view boundary = content_type.substr(parameter + kParameter.size());
    if (boundary.starts_with('"')) boundary.remove_prefix(1);
    if (boundary.ends_with('"')) boundary.remove_suffix(1);
    return boundary;
}

}  // namespace

std::wstring StoredFileName(std::string_view name) {
    constexpr std::wstring_view kReplaced = L"\"*/:<>?\\|";
    std::wstring stored = Utf8ToWide(name);
    for (wchar_t& c : stored) {
        if (kReplaced.find(c) != std::wstring_view::npos) c = L'_';
    }
    return stored.empty() ? L"file.bin" : stored;
}

std::string_view ReceiveMultipartUpload(const FileServices& services, Stream& stream,
                                        std::string_view buffered, const std::wstring& folder,
                                        std::string_view boundary, std::uint64_t total) {
    EnsureDirectory(services.files, folder);
    FolderSink sink(services, folder);
    MultipartParser parser(boundary, sink);
    std::copy(buffered.begin(), buffered.end(), parser.Room(buffered.size()).begin());
    MultipartStatus status = parser.Received(buffered.size());

    std::uint64_t received = buffered.size();
    while (status == MultipartStatus::kNeedsMore) {
        // A body that is complete without its closing delimiter ends here as well: nothing more
        // will come.
        const std::uint64_t missing = total - std::min(total, received);
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(missing, kUploadReadBytes));
        const std::size_t count =
            wanted == 0 ? 0 : stream.ReadSome(parser.Room(kUploadReadBytes).first(wanted));
        if (count == 0) return kAborted;
        received += count;
        status = parser.Received(count);
    }
    if (status == MultipartStatus::kRefused) return kCannotCreate;
    return status == MultipartStatus::kComplete ? std::string_view() : kAborted;
}

void UploadInto(const FileServices& services, Exchange& exchange, const std::wstring& relative,
                const UploadReplies& replies) {
    HttpRequest& request = exchange.request;
    Stream& stream = exchange.stream;
    if (IsChunkedRequest(request.headers)) return replies.refuse(stream, 411, replies.chunked);
    const std::wstring folder = ResolveWebPath(services.files, services.web_root.Get(), relative);
    if (folder.empty()) return replies.refuse(stream, 400, replies.bad_folder);
    const auto boundary = BoundaryOf(GetHeader(request.headers, "content-type"));
    if (!boundary) return replies.refuse(stream, 400, "Missing multipart boundary");
    if (GetHeader(request.headers, "content-length").empty()) {
        return replies.refuse(stream, 411, "Content-Length required");
    }
    const std::string kept_boundary(*boundary);
    const std::uint64_t total = ContentLength(request.headers);
    AwaitBody(stream, request, kUploadLimits);
    request.ForgetHead();
    const std::string_view error =
        ReceiveMultipartUpload(services, stream, request.body, folder, kept_boundary, total);
    if (!error.empty()) return replies.refuse(stream, 400, error);
    ReplyOk(stream);
}

void ServeUpload(const FileServices& services, Exchange& exchange) {
    UploadInto(services, exchange, WideQueryParam(exchange.request, "path"), kWebRootReplies);
}

}  // namespace harbinet
