// Receives the files of a browser form into one folder. The web root's endpoint and the shared
// folders differ only in their replies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "files/file_service.h"

namespace harbinet {

inline constexpr std::size_t kUploadReadBytes = 65'536;

// The name under which a file of the form is stored: characters that cannot be part of one name
// become underscores; "file.bin" when nothing is left.
std::wstring StoredFileName(std::string_view name);

// Reads the rest of the body, up to `total` bytes of which `buffered` have arrived, and stores its
// files in `folder`, which is created when it is missing; existing files are replaced. Empty on
// success, as soon as the closing delimiter has arrived; else a message. Finished files stay, and
// so does the beginning of the one that was cut off. Failing writes are not reported.
std::string_view ReceiveMultipartUpload(const FileServices& services, Stream& stream,
                                        std::string_view buffered, const std::wstring& folder,
                                        std::string_view boundary, std::uint64_t total);

// Where the replies of the two upload endpoints differ.
struct UploadReplies {
    std::string_view chunked;
    std::string_view bad_folder;
    void (*refuse)(Stream& stream, int status, std::string_view message);
};

// One upload request into the folder `relative` below the web root, from its checks to its reply.
void UploadInto(const FileServices& services, Exchange& exchange, const std::wstring& relative,
                const UploadReplies& replies);

}  // namespace harbinet
