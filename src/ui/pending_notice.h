// Merges notices to another thread: as long as one is on its way, no second one is posted.
// Thread-safe.
#pragma once

#include <atomic>

namespace harbinet {

class PendingNotice {
public:
    // Calls `post` unless a notice is on its way. It returns whether it could be posted: a notice
    // that never left must not keep the next one back.
    template <typename Post>
    void Raise(Post post) {
        if (!is_pending_.exchange(true) && !post()) is_pending_ = false;
    }
    // The receiver calls this before it looks at what the notice is about.
    void Clear() { is_pending_ = false; }

    bool IsPending() const { return is_pending_; }

private:
    std::atomic<bool> is_pending_{false};
};

}  // namespace harbinet
