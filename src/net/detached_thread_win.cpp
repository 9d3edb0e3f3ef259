#include "net/detached_thread_win.h"

#include <windows.h>

#include <process.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include "app/unique_handle_win.h"

namespace harbinet {
namespace {

unsigned __stdcall RunThread(void* start) noexcept {
    const std::unique_ptr<std::function<void()>> run(static_cast<std::function<void()>*>(start));
    (*run)();
    return 0;
}

}  // namespace

void StartDetached(std::function<void()> run) {
    auto start = std::make_unique<std::function<void()>>(std::move(run));
    const UniqueKernelHandle thread(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, RunThread, start.get(), 0, nullptr)));
    if (!thread) {
        throw std::system_error(errno, std::generic_category(), "no thread could be started");
    }
    // The thread owns it now; only its pointer is given up here, which may already dangle.
    static_cast<void>(start.release());
}

}  // namespace harbinet
