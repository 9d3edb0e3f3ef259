#include "files/buffered_writer.h"

#include <new>

namespace harbinet {

BufferedWriter::~BufferedWriter() {
    try {
        Close();
    } catch (const std::bad_alloc&) {
        // Most likely on the way out of a connection that has run out of memory already.
    }
}

bool BufferedWriter::Write(std::string_view bytes) {
    if (pending_.size() + bytes.size() > kWriteBlockBytes && !Flush()) return false;
    if (bytes.size() >= kWriteBlockBytes) return file_->Write(bytes);
    Append(pending_, bytes);
    return true;
}

bool BufferedWriter::Close() {
    if (!file_) return true;
    const bool written = Flush();
    file_.reset();
    return written;
}

bool BufferedWriter::Flush() {
    const bool written = pending_.empty() || file_->Write({pending_.data(), pending_.size()});
    pending_.clear();
    return written;
}

}  // namespace harbinet
