// Sending one file as an attachment, in chunks: no file is held in memory whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "files/file_service.h"
#include "files/file_system.h"
#include "net/stream.h"

namespace harbinet {

inline constexpr std::size_t kDownloadChunkBytes = 262'144;

// Writes the whole response, head included. True when every byte was sent. When the file cannot be
// opened or measured nothing is sent at all; a later failure leaves a body that is shorter than its
// Content-Length, which is how the client notices. A file that grows meanwhile is cut at the size
// it had.
bool StreamFileDownload(Stream& stream, FileSystem& files, const std::wstring& full_path,
                        std::string_view download_name);

// The same with its log lines: `tag` + path before, `tag` + "failed: " + path after a failure. The
// request's head is given back before.
void DownloadWithLog(const FileServices& services, Exchange& exchange, std::wstring_view tag,
                     const std::wstring& full_path, std::string_view download_name);

}  // namespace harbinet
