// The program's only diagnostic channel: the newest 500 lines, in memory. A line is the local time,
// two blanks and the message, unchanged; messages begin with an upper-case word, usually padded to
// eight characters. Thread-safe; logging never fails toward the caller and never waits for the UI
// thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/clock.h"
#include "app/guarded.h"

namespace harbinet {

inline constexpr std::size_t kMaxLogLines = 500;

// Told after each added line, on the thread that logged it. Must return at once.
class LogObserver {
public:
    virtual ~LogObserver() = default;
    virtual void OnLogUpdated() = 0;
};

class EventLog {
public:
    explicit EventLog(LocalClock clock = SystemLocalTime) : clock_(clock) {}
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    // Without memory for the line there is none.
    void Log(std::wstring_view message) noexcept;

    // Forgets every line. Logs nothing itself.
    void Clear();

    // The kept lines, oldest first.
    std::vector<std::wstring> Snapshot() const;

    // `observer` may be null; it must outlive every later Log call or be replaced before it goes.
    void SetObserver(LogObserver* observer) { observer_ = observer; }

private:
    void Add(std::wstring_view message);
    void WriteToFile(std::wstring_view line) const;

    const LocalClock clock_;
    // Empty for the whole run, so the file never opens: the sink exists, the program keeps no log
    // file.
    const std::filesystem::path file_path_;
    // Shared, so that a reader copies no text while the lock is held.
    using Line = std::shared_ptr<const std::wstring>;
    Guarded<std::deque<Line>> lines_;
    std::atomic<LogObserver*> observer_{nullptr};
};

}  // namespace harbinet
