// Collects small writes to a file: a system call for each record of a TLS connection would cost
// more than the writing. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "app/large_buffer.h"
#include "files/file_system.h"

namespace harbinet {

inline constexpr std::size_t kWriteBlockBytes = 262'144;

class BufferedWriter {
public:
    // `file` is not null.
    explicit BufferedWriter(std::unique_ptr<WritableFile> file) : file_(std::move(file)) {}
    // As Close: whatever ends the writing, what was accepted is in the file, as far as memory goes.
    ~BufferedWriter();
    BufferedWriter(const BufferedWriter&) = delete;
    BufferedWriter& operator=(const BufferedWriter&) = delete;

    // False when collected bytes, which are lost then, or these could not be written.
    bool Write(std::string_view bytes);

    // Writes what is still collected and closes the file. False when not all of it could be
    // written; the caller decides what that means. Closing again changes nothing and gives true.
    bool Close();

private:
    bool Flush();

    std::unique_ptr<WritableFile> file_;  // null once closed
    LargeBuffer pending_;
};

}  // namespace harbinet
