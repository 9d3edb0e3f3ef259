// Windows parts that stand alone: the QR bitmap, the tray menu, a log window under load, and the
// finished program's resources and handles.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include "handle_count.h"
#include "program.h"
#include "ui/appearance.h"
#include "ui/log_window.h"
#include "ui/main_window.h"
#include "ui/qr_bitmap.h"
#include "ui/tray_menu.h"

namespace harbinet::test {
namespace {

DIBSECTION Describe(const UniqueBitmap& bitmap) {
    DIBSECTION section = {};
    GetObjectW(bitmap.Get(), sizeof section, &section);
    return section;
}

TEST(QrBitmapTest, ALinkOfSixtyCharactersMakes164Pixels) {
    const std::wstring link(60, L'x');
    const DIBSECTION section = Describe(MakeQrBitmap(link));
    EXPECT_EQ(section.dsBm.bmWidth, 164);
    EXPECT_EQ(section.dsBm.bmHeight, 164);
    EXPECT_EQ(section.dsBm.bmBitsPixel, 32);
}

TEST(QrBitmapTest, TheSizeFollowsTheLength) {
    // The most bytes that versions 2 and 3 hold at level M are 26 and 42.
    EXPECT_EQ(Describe(MakeQrBitmap(std::wstring(26, L'x'))).dsBm.bmWidth, 132);
    EXPECT_EQ(Describe(MakeQrBitmap(std::wstring(27, L'x'))).dsBm.bmWidth, 148);
    EXPECT_EQ(Describe(MakeQrBitmap(std::wstring(42, L'x'))).dsBm.bmWidth, 148);
    EXPECT_EQ(Describe(MakeQrBitmap(std::wstring(43, L'x'))).dsBm.bmWidth, 164);
}

TEST(QrBitmapTest, FinderPatternsStandInThreeCornersOfTheQuietZone) {
    const UniqueBitmap bitmap = MakeQrBitmap(L"https://192.168.77.5:8443/auto?pin=000123");
    const DIBSECTION section = Describe(bitmap);
    const int side = section.dsBm.bmWidth;
    const auto* pixels = static_cast<const std::uint32_t*>(section.dsBm.bmBits);
    const auto at = [&](int x, int y) { return pixels[y * side + x]; };
    ASSERT_EQ(side, 148);
    for (int i = 0; i < side; ++i) {
        EXPECT_EQ(at(i, 15), 0xFFFFFFFFU);
        EXPECT_EQ(at(15, i), 0xFFFFFFFFU);
        EXPECT_EQ(at(i, side - 16), 0xFFFFFFFFU);
        EXPECT_EQ(at(side - 16, i), 0xFFFFFFFFU);
    }
    // A finder's first row is seven dark modules and a light one.
    for (int i = 0; i < 28; ++i) {
        EXPECT_EQ(at(16 + i, 16), 0xFF000000U);
        EXPECT_EQ(at(side - 17 - i, 16), 0xFF000000U);
        EXPECT_EQ(at(16 + i, side - 17), 0xFF000000U);
    }
    EXPECT_EQ(at(44, 16), 0xFFFFFFFFU);
    EXPECT_EQ(at(20, 20), 0xFFFFFFFFU);
    EXPECT_EQ(at(24, 24), 0xFF000000U);
}

TEST(QrBitmapTest, ALinkThatIsTooLongHasNone) {
    EXPECT_FALSE(MakeQrBitmap(std::wstring(3000, L'x')));
    EXPECT_FALSE(MakeQrBitmap(L""));
}

struct MenuItem {
    UINT id;
    std::wstring text;
    bool is_separator;
    bool is_grayed;
    bool operator==(const MenuItem&) const = default;
};

void PrintTo(const MenuItem& item, std::ostream* stream) {
    *stream << item.id << (item.is_separator ? " separator" : "")
            << (item.is_grayed ? " gray" : "");
}

std::vector<MenuItem> ItemsOf(const UniqueMenu& menu) {
    std::vector<MenuItem> items;
    for (int i = 0; i < GetMenuItemCount(menu.Get()); ++i) {
        wchar_t text[64] = {};
        MENUITEMINFOW info = {};
        info.cbSize = sizeof info;
        info.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_ID | MIIM_STRING;
        info.dwTypeData = text;
        info.cch = 64;
        GetMenuItemInfoW(menu.Get(), static_cast<UINT>(i), TRUE, &info);
        // A separator is gray by nature.
        const bool is_separator = (info.fType & MFT_SEPARATOR) != 0;
        const bool is_grayed = !is_separator && (info.fState & MFS_GRAYED) != 0;
        items.push_back({info.wID, text, is_separator, is_grayed});
    }
    return items;
}

TEST(TrayMenuTest, ListsItsCommandsInOrder) {
    EXPECT_EQ(ItemsOf(MakeTrayMenu(true)),
              (std::vector<MenuItem>{{40003, L"Copy URL + PIN", false, false},
                                     {40005, L"Open Browser (Auto Login)", false, false},
                                     {40004, L"Explorer", false, false},
                                     {0, L"", true, false},
                                     {40001, L"Open", false, false},
                                     {40002, L"Close", false, false}}));
}

TEST(TrayMenuTest, GraysTheFirstTwoWithoutAServer) {
    EXPECT_EQ(ItemsOf(MakeTrayMenu(false)),
              (std::vector<MenuItem>{{40003, L"Copy URL + PIN", false, true},
                                     {40005, L"Open Browser (Auto Login)", false, true},
                                     {40004, L"Explorer", false, false},
                                     {0, L"", true, false},
                                     {40001, L"Open", false, false},
                                     {40002, L"Close", false, false}}));
}

LOGFONTW FontOf(HWND control) {
    LOGFONTW font = {};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)), sizeof font,
               &font);
    return font;
}

TEST(AppearanceTest, TheFontIsSegoeUiFourteenPixelsHighAndNothingElse) {
    const Appearance appearance = MakeAppearance();
    LOGFONTW font = {};
    GetObjectW(appearance.font.Get(), sizeof font, &font);
    EXPECT_STREQ(font.lfFaceName, L"Segoe UI");
    EXPECT_EQ(font.lfHeight, -14);
    EXPECT_EQ(font.lfWidth, 0);
    EXPECT_EQ(font.lfWeight, 0);
    EXPECT_EQ(font.lfCharSet, 0);
    LOGBRUSH brush = {};
    GetObjectW(appearance.white.Get(), sizeof brush, &brush);
    EXPECT_EQ(brush.lbColor, RGB(255, 255, 255));
}

TEST(AppearanceTest, EveryControlOfTheMainWindowHasTheFont) {
    const Appearance appearance = MakeAppearance();
    const HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 694, 520, nullptr,
                                        nullptr, nullptr, nullptr);
    MainControls controls;
    controls.Create(parent, GetModuleHandleW(nullptr));
    controls.SetFont(appearance.font.Get());
    int count = 0;
    for (HWND child = GetWindow(parent, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        EXPECT_STREQ(FontOf(child).lfFaceName, L"Segoe UI") << GetDlgCtrlID(child);
        ++count;
    }
    EXPECT_EQ(count, 17);
    DestroyWindow(parent);
}

TEST(AppearanceTest, PlaceholdersStandUntilTheFirstRefresh) {
    const HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 694, 520, nullptr,
                                        nullptr, nullptr, nullptr);
    MainControls controls;
    controls.Create(parent, GetModuleHandleW(nullptr));
    EXPECT_EQ(TextOf(controls.Get(kUrlLabel)), L"URL:     -");
    EXPECT_EQ(TextOf(controls.Get(kPinLabel)), L"PIN:     ------");
    EXPECT_EQ(TextOf(controls.Get(kDriveLabel)), L"Drive:   -");
    EXPECT_EQ(TextOf(controls.Get(kWebRootLabel)), L"WEB Root:  -");
    EXPECT_EQ(TextOf(controls.Get(kStatusEdit)), L"");
    DestroyWindow(parent);
}

TEST(ClassTest, TheMainWindowHasTheWindowColourTheArrowAndTheIcon) {
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    ASSERT_TRUE(RegisterMainWindowClass(instance));
    WNDCLASSW window_class = {};
    ASSERT_TRUE(GetClassInfoW(instance, L"HTTPHarbinet_Main", &window_class));
    EXPECT_EQ(window_class.style, 0U);
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(window_class.hbrBackground), ULONG_PTR{COLOR_WINDOW + 1});
    EXPECT_EQ(window_class.hCursor, LoadCursorW(nullptr, IDC_ARROW));
    ICONINFO icon = {};
    ASSERT_TRUE(GetIconInfo(window_class.hIcon, &icon));
    const UniqueBitmap colours(icon.hbmColor);
    const UniqueBitmap mask(icon.hbmMask);
    BITMAP size = {};
    GetObjectW(colours.Get(), sizeof size, &size);
    EXPECT_EQ(size.bmWidth, 32);
    EXPECT_EQ(size.bmHeight, 32);
}

TEST(ClassTest, ASecondRegistrationFailsWithItsReason) {
    RegisterMainWindowClass(GetModuleHandleW(nullptr));
    EXPECT_FALSE(RegisterMainWindowClass(GetModuleHandleW(nullptr)));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_CLASS_ALREADY_EXISTS});
}

TEST(ClassTest, TheLogWindowHasTheWindowColourTheFontAndNoIcon) {
    EventLog log;
    const Appearance appearance = MakeAppearance();
    LogWindow window(log, appearance, GetModuleHandleW(nullptr), nullptr);
    window.Open();
    EXPECT_EQ(GetClassLongPtrW(window.Handle(), GCLP_HBRBACKGROUND), ULONG_PTR{COLOR_WINDOW + 1});
    EXPECT_EQ(GetClassLongPtrW(window.Handle(), GCLP_HICON), 0U);
    EXPECT_EQ(GetClassLongPtrW(window.Handle(), GCL_STYLE), 0U);
    EXPECT_STREQ(FontOf(GetDlgItem(window.Handle(), kLogClearButton)).lfFaceName, L"Segoe UI");
    EXPECT_STREQ(FontOf(GetDlgItem(window.Handle(), kLogText)).lfFaceName, L"Segoe UI");
    DestroyWindow(window.Handle());
}

void HandleMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

// Four threads log 250 lines a second each for three seconds, while this one plays the user's
// thread: it must come round to input all the time, and show the last line in the end.
TEST(LogWindowLoadTest, AThousandLinesASecondLeaveTheWindowsAnswering) {
    EventLog log;
    const Appearance appearance;
    LogWindow window(log, appearance, GetModuleHandleW(nullptr), nullptr);
    window.Open();
    ASSERT_NE(window.Handle(), nullptr);

    std::atomic<int> running{4};
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&] {
            const ULONGLONG start = GetTickCount64();
            for (int line = 0; line < 750; ++line) {
                while (GetTickCount64() < start + static_cast<ULONGLONG>(line) * 4) Sleep(1);
                log.Log(L"DL      line " + std::to_wstring(line));
            }
            --running;
        });
    }
    // Windows delivers a timer after everything else: when it comes, input would have come, too.
    ULONGLONG longest = 0;
    ULONGLONG last = GetTickCount64();
    int rounds = 0;
    const UINT_PTR timer = SetTimer(nullptr, 0, 10, nullptr);
    while (running > 0) {
        MSG message;
        GetMessageW(&message, nullptr, 0, 0);
        if (message.message == WM_TIMER && message.hwnd == nullptr) {
            const ULONGLONG now = GetTickCount64();
            longest = std::max(longest, now - last);
            last = now;
            ++rounds;
        }
        DispatchMessageW(&message);
    }
    KillTimer(nullptr, timer);
    for (std::thread& worker : workers) worker.join();
    RecordProperty("longest_pause_milliseconds", static_cast<int>(longest));
    // Typically 50 and 190; the bounds allow for a machine that is busy with other things.
    EXPECT_LT(longest, 1000U);
    EXPECT_GT(rounds, 40);

    log.Log(L"DL      the end");
    const auto shows_end = [&] {
        HandleMessages();
        return TextOf(GetDlgItem(window.Handle(), kLogText)).ends_with(L"DL      the end\r\n");
    };
    EXPECT_TRUE(WaitUntil(shows_end));
    EXPECT_EQ(SendMessageW(GetDlgItem(window.Handle(), kLogText), EM_GETLINECOUNT, 0, 0), 501);
    DestroyWindow(window.Handle());
}

TEST(LogWindowMutexTest, DestroyingTheWindowReleasesTheMutex) {
    const std::wstring name = L"Local\\HarbinetDesktopTestMutex";
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, name.c_str());
    EventLog log;
    const Appearance appearance;
    LogWindow window(log, appearance, GetModuleHandleW(nullptr), mutex);
    window.Open();
    DestroyWindow(window.Handle());
    EXPECT_EQ(window.Handle(), nullptr);
    // The only handle was closed: the name is free.
    EXPECT_EQ(OpenMutexW(SYNCHRONIZE, FALSE, name.c_str()), nullptr);
}

class HandleTest : public testing::Test {
protected:
    void SetUp() override {
        program_.WaitUntilListening();
        program_.Command(kStatusButton);
        // The first drawings fill caches of the system.
        Refresh(200);
        before_ = CountHandles(program_.Process());
        ASSERT_GT(before_.gdi, 0U);
        ASSERT_GT(before_.user, 0U);
    }
    void TearDown() override {
        // The system keeps some dozens of device contexts more or less, never hundreds.
        const HandleCount after = CountHandles(program_.Process());
        EXPECT_LT(after.gdi, before_.gdi + 80);
        EXPECT_LT(after.user, before_.user + 10);
    }
    void Refresh(int times) {
        for (int i = 0; i < times; ++i) {
            SendMessageW(program_.Window(), WM_APP + 10, 0, 0);
            RedrawWindow(program_.Window(), nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
        }
        SendMessageW(program_.Window(), WM_NULL, 0, 0);
    }

    Program program_;
    HandleCount before_;
};

TEST_F(HandleTest, FiveHundredRefreshesLeaveNoHandleBehind) { Refresh(500); }

TEST_F(HandleTest, AHundredTogglesOfThePanelLeaveNoHandleBehind) {
    for (int i = 0; i < 100; ++i) program_.Command(kStatusButton);
}

TEST_F(HandleTest, AHundredTrayMenusLeaveNoHandleBehind) {
    for (int i = 0; i < 100; ++i) {
        PostMessageW(program_.Window(), WM_APP + 200, 1, WM_RBUTTONUP);
        const auto menu = [this] { return FindTopWindow(program_.Id(), L"#32768", nullptr); };
        ASSERT_TRUE(WaitUntil([&] { return menu() && IsShown(menu()); }));
        PostMessageW(program_.Window(), WM_KEYDOWN, VK_ESCAPE, 1);
        ASSERT_TRUE(WaitUntil([&] { return !menu(); }));
    }
}

class ResourceTest : public testing::Test {
protected:
    void SetUp() override {
        module_ = LoadLibraryExW(ProgramPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module_, nullptr);
    }
    void TearDown() override { FreeLibrary(module_); }

    std::string Resource(LPCWSTR name, LPCWSTR type) const {
        const HRSRC found = FindResourceW(module_, name, type);
        if (!found) return {};
        return {static_cast<const char*>(LockResource(LoadResource(module_, found))),
                SizeofResource(module_, found)};
    }
    HMODULE module_ = nullptr;
};

TEST_F(ResourceTest, TheIconIsDrawnInFourSizes) {
    const std::string group = Resource(MAKEINTRESOURCEW(107), MAKEINTRESOURCEW(14));
    ASSERT_GE(group.size(), 6U);
    std::vector<int> sizes;
    for (std::size_t entry = 6; entry + 14 <= group.size(); entry += 14) {
        sizes.push_back(static_cast<unsigned char>(group[entry]));
    }
    // 256 does not fit into the byte and is written as 0.
    EXPECT_EQ(sizes, (std::vector<int>{16, 32, 48, 0}));
}

TEST_F(ResourceTest, TheManifestAsksForNothingButTheNewControls) {
    const std::string manifest = Resource(MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
    EXPECT_NE(manifest.find("Microsoft.Windows.Common-Controls"), std::string::npos);
    EXPECT_NE(manifest.find("version=\"6.0.0.0\""), std::string::npos);
    EXPECT_NE(manifest.find("level=\"asInvoker\""), std::string::npos);
    EXPECT_NE(manifest.find("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"), std::string::npos);
    EXPECT_EQ(manifest.find("dpiAware"), std::string::npos);
    EXPECT_EQ(manifest.find("activeCodePage"), std::string::npos);
}

TEST_F(ResourceTest, TheVersionIsTwo) {
    DWORD ignored = 0;
    std::vector<char> block(GetFileVersionInfoSizeW(ProgramPath().c_str(), &ignored));
    ASSERT_FALSE(block.empty());
    ASSERT_TRUE(GetFileVersionInfoW(ProgramPath().c_str(), 0, static_cast<DWORD>(block.size()),
                                    block.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
    EXPECT_EQ(HIWORD(fixed->dwFileVersionMS), 2);
    wchar_t* product = nullptr;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\StringFileInfo\\040904B0\\ProductName",
                               reinterpret_cast<void**>(&product), &size));
    EXPECT_STREQ(product, L"Harbinet PRO");
}

}  // namespace
}  // namespace harbinet::test
