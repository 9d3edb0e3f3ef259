// Log lines as tests compare them: without the time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "app/event_log.h"

namespace harbinet::test {

// The message of a line of the event log, which begins with its time and two blanks.
inline std::wstring MessageOf(const std::wstring& line) {
    constexpr std::size_t kTimeAndBlanks = 25;
    return line.substr(kTimeAndBlanks);
}

// All messages of the log, oldest first.
inline std::vector<std::wstring> Messages(const EventLog& log) {
    std::vector<std::wstring> messages = log.Snapshot();
    for (std::wstring& message : messages) message = MessageOf(message);
    return messages;
}

}  // namespace harbinet::test
