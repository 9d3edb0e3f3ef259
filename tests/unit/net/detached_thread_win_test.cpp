#include "net/detached_thread_win.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "app/unique_handle_win.h"

namespace harbinet {
namespace {

// Another process that keeps a processor busy until it is destroyed.
class BusyProcess {
public:
    BusyProcess() {
        std::wstring command = L"busy_processor.exe " + std::to_wstring(GetCurrentProcessId());
        wchar_t folder[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, folder, MAX_PATH);
        std::wstring program = folder;
        program.replace(program.find_last_of(L"\\/") + 1, std::wstring::npos,
                        L"busy_processor.exe");
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION started{};
        if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                            nullptr, &startup, &started)) {
            return;
        }
        process_.Reset(started.hProcess);
        CloseHandle(started.hThread);
    }
    ~BusyProcess() {
        if (process_) TerminateProcess(process_.Get(), 0);
    }
    BusyProcess(const BusyProcess&) = delete;
    BusyProcess& operator=(const BusyProcess&) = delete;

    bool IsRunning() const {
        return process_ && WaitForSingleObject(process_.Get(), 0) == WAIT_TIMEOUT;
    }

private:
    UniqueKernelHandle process_;
};

// Counts down, from any thread, and lets one thread wait for the end.
class Countdown {
public:
    explicit Countdown(int count)
        : left_(count), done_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

    void Step() {
        if (--left_ == 0) SetEvent(done_.Get());
    }
    bool Wait(DWORD milliseconds) const {
        return WaitForSingleObject(done_.Get(), milliseconds) == WAIT_OBJECT_0;
    }

private:
    std::atomic<int> left_;
    UniqueKernelHandle done_;
};

TEST(DetachedThreadTest, EachOfTwentyThousandShortThreadsRunsExactlyOnceOnABusyMachine) {
    constexpr std::size_t kThreads = 20'000;
    const std::array<BusyProcess, 2> busy;
    for (const BusyProcess& process : busy) ASSERT_TRUE(process.IsRunning());

    // Not on the stack: a thread that comes late must not find it gone.
    struct Runs {
        std::vector<std::atomic<int>> of = std::vector<std::atomic<int>>(kThreads);
        Countdown countdown{static_cast<int>(kThreads)};
    };
    const auto runs = std::make_shared<Runs>();
    for (std::size_t i = 0; i < kThreads; ++i) {
        StartDetached([runs, i] {
            ++runs->of[i];
            runs->countdown.Step();
        });
    }

    EXPECT_TRUE(runs->countdown.Wait(120'000)) << "a thread was lost";
    for (std::size_t i = 0; i < kThreads; ++i) EXPECT_EQ(runs->of[i], 1) << "thread " << i;
    for (const BusyProcess& process : busy) EXPECT_TRUE(process.IsRunning());
}

TEST(DetachedThreadTest, TheFunctionIsDestroyedWhenItsThreadHasRunIt) {
    // Sets an event when the last copy of the function goes.
    struct Mark {
        explicit Mark(HANDLE event) : gone(event) {}
        ~Mark() { SetEvent(gone); }
        Mark(const Mark&) = delete;
        Mark& operator=(const Mark&) = delete;
        const HANDLE gone;
    };
    const UniqueKernelHandle gone(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    StartDetached([mark = std::make_shared<const Mark>(gone.Get())] {});
    EXPECT_EQ(WaitForSingleObject(gone.Get(), 20'000), WAIT_OBJECT_0);
}

}  // namespace
}  // namespace harbinet
