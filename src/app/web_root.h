// The published folder: a full Windows path in UTF-16, with or without a closing backslash. The UI
// thread replaces it while connection threads read it; each Get sees one whole value. Thread-safe.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace harbinet {

// The folder that is published unless the user picks another one.
inline std::wstring DefaultWebRoot(const std::wstring& base_folder) {
    return base_folder + L"\\files";
}

class WebRoot {
public:
    explicit WebRoot(std::wstring path = {})
        : path_(std::make_shared<const std::wstring>(std::move(path))) {}

    std::wstring Get() const { return *path_.load(); }
    void Set(std::wstring path) {
        path_.store(std::make_shared<const std::wstring>(std::move(path)));
    }

private:
    std::atomic<std::shared_ptr<const std::wstring>> path_;
};

}  // namespace harbinet
