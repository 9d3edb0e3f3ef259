// The main window and its 17 controls, as they are made and in both heights.
#include <gtest/gtest.h>

#include <cwchar>
#include <memory>

#include "app/encoding.h"
#include "program.h"

namespace harbinet::test {
namespace {

struct Expected {
    const char* name;
    int id;
    const wchar_t* class_name;
    const wchar_t* text;  // null: changes, tested elsewhere
    LONG type_mask;       // the bits of the style that are compared
    LONG type;
    LONG extended_style;
    std::vector<int> place;  // left, top, width, height
    bool only_with_panel;
};

void PrintTo(const Expected& expected, std::ostream* stream) { *stream << expected.name; }

constexpr LONG kButtonMask = BS_TYPEMASK;
constexpr LONG kStaticMask = SS_TYPEMASK;
constexpr LONG kEditMask =
    ES_MULTILINE | ES_PASSWORD | ES_READONLY | ES_AUTOHSCROLL | WS_VSCROLL | WS_HSCROLL;
constexpr LONG kComboMask = 0x3;  // the scroll bar is the list's

std::vector<Expected> Controls() {
    const LONG edge = WS_EX_CLIENTEDGE;
    return {
        {"Server", 1001, L"Button", L"Server", kButtonMask, 0, 0, {46, 148, 140, 32}, true},
        {"Status", 1002, L"Button", L"Status", kButtonMask, 0, 0, {586, 6, 82, 32}, false},
        {"Logs", 1003, L"Button", L"Logs", kButtonMask, 0, 0, {192, 148, 82, 32}, true},
        {"Explorer", 1004, L"Button", L"Explorer", kButtonMask, 0, 0, {496, 6, 82, 32}, false},
        {"Url", 1102, L"Static", nullptr, kStaticMask, 12, 0, {202, 52, 420, 20}, false},
        {"Pin", 1103, L"Static", nullptr, kStaticMask, 12, 0, {202, 70, 160, 20}, false},
        {"Drive", 1104, L"Static", nullptr, kStaticMask, 12, 0, {202, 88, 420, 20}, false},
        {"Copy", 1010, L"Button", L"Copy URL+PIN", kButtonMask, 0, 0, {196, 6, 140, 32}, false},
        {"WebRoot", 1112, L"Static", nullptr, kStaticMask, 12, 0, {194, 188, 380, 20}, false},
        {"Pick", 1013, L"Button", L"Web Root...", kButtonMask, 0, 0, {46, 184, 102, 26}, false},
        {"Back", 1014, L"Button", L"Back", kButtonMask, 0, 0, {152, 184, 34, 26}, false},
        {"MasterLabel",
         1110,
         L"Static",
         L"Master PIN:",
         kStaticMask,
         12,
         0,
         {466, 156, 120, 20},
         true},
        {"MasterPin",
         1111,
         L"Edit",
         nullptr,
         kEditMask,
         ES_PASSWORD | ES_AUTOHSCROLL,
         edge,
         {546, 154, 90, 24},
         true},
        {"Browser", 1012, L"Button", L"Browser", kButtonMask, 0, 0, {346, 6, 82, 32}, false},
        {"StatusText",
         1201,
         L"Edit",
         nullptr,
         kEditMask,
         ES_MULTILINE | ES_READONLY | WS_VSCROLL,
         0,
         {40, 218, 638, 250},
         true},
        {"Autostart",
         1011,
         L"Button",
         L"Windows Autostart",
         kButtonMask,
         BS_AUTOCHECKBOX,
         0,
         {296, 154, 160, 24},
         true},
        {"Address",
         1015,
         L"ComboBox",
         nullptr,
         kComboMask,
         CBS_DROPDOWNLIST,
         0,
         {496, 50, 168, 0},
         false},
    };
}

std::vector<int> OuterSize(HWND window) {
    RECT place = {};
    GetWindowRect(window, &place);
    return {place.right - place.left, place.bottom - place.top};
}

// Of the window itself, not of the screen: that is scaled, and other windows may cover this one.
COLORREF ColourAt(HWND window, int x, int y) {
    const HDC content = GetDC(window);
    const COLORREF colour = GetPixel(content, x, y);
    ReleaseDC(window, content);
    return colour;
}

// One program for all tests of the window; the panel is shown or not as each test needs.
class MainWindowTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        DeleteRegistryValue(kRunKey, L"Harbinet PRO");
        program_ = std::make_unique<Program>();
        program_->WaitUntilListening();
    }
    static void TearDownTestSuite() { program_.reset(); }

    static HWND Window() { return program_->Window(); }

    static void ShowPanel(bool shown) {
        if ((OuterSize(Window())[1] == 520) != shown) program_->Command(kStatusButton);
    }

    static std::unique_ptr<Program> program_;
};
std::unique_ptr<Program> MainWindowTest::program_;

class ControlTest : public MainWindowTest, public testing::WithParamInterface<Expected> {
protected:
    static HWND Control() { return program_->Control(GetParam().id); }
};

TEST_P(ControlTest, HasItsClassAndText) {
    ASSERT_NE(Control(), nullptr);
    wchar_t class_name[32] = {};
    GetClassNameW(Control(), class_name, 32);
    EXPECT_EQ(_wcsicmp(class_name, GetParam().class_name), 0) << WideToUtf8(class_name);
    if (GetParam().text) {
        EXPECT_EQ(TextOf(Control()), GetParam().text);
    }
}

TEST_P(ControlTest, HasItsStyle) {
    const LONG style = GetWindowLongW(Control(), GWL_STYLE);
    EXPECT_NE(style & WS_CHILD, 0);
    EXPECT_EQ(style & GetParam().type_mask, GetParam().type);
    EXPECT_EQ(GetWindowLongW(Control(), GWL_EXSTYLE) & WS_EX_CLIENTEDGE, GetParam().extended_style);
}

TEST_P(ControlTest, StandsInItsPlace) {
    ShowPanel(true);
    std::vector<int> expected = GetParam().place;
    // A combo box counts its list: the closed field is as high as its font wants.
    if (expected[3] == 0) expected[3] = PlaceOf(Control())[3];
    EXPECT_EQ(PlaceOf(Control()), expected);
}

TEST_P(ControlTest, KeepsItsPlaceInTheSmallWindow) {
    ShowPanel(true);
    const std::vector<int> with_panel = PlaceOf(Control());
    ShowPanel(false);
    EXPECT_EQ(PlaceOf(Control()), with_panel);
}

TEST_P(ControlTest, ShowsWithThePanel) {
    ShowPanel(true);
    EXPECT_TRUE(IsShown(Control()));
}

TEST_P(ControlTest, ShowsInTheSmallWindowUnlessItBelongsToThePanel) {
    ShowPanel(true);
    ShowPanel(false);
    EXPECT_EQ(IsShown(Control()), !GetParam().only_with_panel);
}

INSTANTIATE_TEST_SUITE_P(, ControlTest, testing::ValuesIn(Controls()),
                         [](const auto& control) { return std::string(control.param.name); });

TEST_F(MainWindowTest, HasSeventeenControlsInTheirOrder) {
    std::vector<int> ids;
    for (HWND child = GetWindow(Window(), GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        ids.push_back(GetDlgCtrlID(child));
    }
    EXPECT_EQ(ids, (std::vector<int>{1001, 1002, 1003, 1004, 1102, 1103, 1104, 1010, 1112, 1013,
                                     1014, 1110, 1111, 1012, 1201, 1011, 1015}));
}

TEST_F(MainWindowTest, IsSmallAndGrowsForThePanelOnly) {
    ShowPanel(false);
    EXPECT_EQ(OuterSize(Window()), (std::vector<int>{694, 180}));
    ShowPanel(true);
    EXPECT_EQ(OuterSize(Window()), (std::vector<int>{694, 520}));
    ShowPanel(false);
    EXPECT_EQ(OuterSize(Window()), (std::vector<int>{694, 180}));
}

TEST_F(MainWindowTest, ThePanelLeavesTheWindowWhereItIs) {
    ShowPanel(false);
    RECT before = {};
    GetWindowRect(Window(), &before);
    ShowPanel(true);
    RECT after = {};
    GetWindowRect(Window(), &after);
    EXPECT_EQ(before.left, after.left);
    EXPECT_EQ(before.top, after.top);
}

TEST_F(MainWindowTest, HasACaptionAndAMinimiseBoxButNoSizingBorder) {
    const LONG style = GetWindowLongW(Window(), GWL_STYLE);
    EXPECT_EQ(style & WS_CAPTION, WS_CAPTION);
    EXPECT_NE(style & WS_SYSMENU, 0);
    EXPECT_NE(style & WS_MINIMIZEBOX, 0);
    EXPECT_EQ(style & WS_MAXIMIZEBOX, 0);
    EXPECT_EQ(style & WS_THICKFRAME, 0);
    EXPECT_EQ(GetWindow(Window(), GW_OWNER), nullptr);
    EXPECT_EQ(GetMenu(Window()), nullptr);
}

TEST_F(MainWindowTest, TheMasterPinFieldTakesSixCharacters) {
    EXPECT_EQ(SendMessageW(program_->Control(kMasterPinEdit), EM_GETLIMITTEXT, 0, 0), 6);
}

TEST_F(MainWindowTest, TheAddressListOffersTheAutomaticChoiceFirst) {
    const HWND box = program_->Control(kAddressBox);
    EXPECT_EQ(SendMessageW(box, CB_GETCURSEL, 0, 0), 0);
    wchar_t text[128] = {};
    SendMessageW(box, CB_GETLBTEXT, 0, reinterpret_cast<LPARAM>(text));
    EXPECT_STREQ(text, L"(auto)");
}

TEST_F(MainWindowTest, TheAddressListIsTwoHundredPixelsHighWhenItDrops) {
    RECT dropped = {};
    SendMessageW(program_->Control(kAddressBox), CB_GETDROPPEDCONTROLRECT, 0,
                 reinterpret_cast<LPARAM>(&dropped));
    // The list and the closed field together.
    EXPECT_EQ(dropped.bottom - dropped.top + PlaceOf(program_->Control(kAddressBox))[3], 200);
}

TEST_F(MainWindowTest, TheStateBarIsGreenWhileTheServerRunsAndRedWhileNot) {
    ShowPanel(true);
    SetForegroundWindow(Window());
    const auto bar_is = [](COLORREF colour) {
        return WaitUntil([=] { return ColourAt(Window(), 20, 60) == colour; });
    };
    ASSERT_TRUE(program_->WaitUntilListening());
    EXPECT_TRUE(bar_is(RGB(152, 220, 170))) << std::hex << ColourAt(Window(), 20, 60);
    program_->Command(kServerButton);
    EXPECT_TRUE(bar_is(RGB(240, 170, 170))) << std::hex << ColourAt(Window(), 20, 60);
    program_->Command(kServerButton);
    EXPECT_TRUE(bar_is(RGB(152, 220, 170))) << std::hex << ColourAt(Window(), 20, 60);
    ASSERT_TRUE(program_->WaitUntilListening());
}

TEST_F(MainWindowTest, TheFramesAreGrey) {
    ShowPanel(true);
    const auto is_grey = [](int x, int y) {
        return WaitUntil([=] { return ColourAt(Window(), x, y) == RGB(200, 200, 200); });
    };
    EXPECT_TRUE(is_grey(12, 60));    // state bar, left
    EXPECT_TRUE(is_grey(31, 60));    // state bar, right
    EXPECT_TRUE(is_grey(20, 6));     // state bar, top
    EXPECT_TRUE(is_grey(20, 133));   // state bar, bottom
    EXPECT_TRUE(is_grey(196, 100));  // address area, left
    EXPECT_TRUE(is_grey(667, 100));  // address area, right
    EXPECT_TRUE(is_grey(400, 44));   // address area, top
    EXPECT_TRUE(is_grey(400, 133));  // address area, bottom
    EXPECT_TRUE(is_grey(42, 180));   // lower area, left
    EXPECT_TRUE(is_grey(400, 144));  // lower area, top
    EXPECT_TRUE(is_grey(400, 213));  // lower area, bottom
}

TEST_F(MainWindowTest, AnUnknownCommandChangesNothing) {
    const std::wstring before = program_->ControlText(kStatusEdit);
    for (const int id : {1005, 1009, 1016, 2001, 40006}) program_->Command(id);
    EXPECT_EQ(program_->ControlText(kStatusEdit), before);
    EXPECT_TRUE(IsWindow(Window()));
}

}  // namespace
}  // namespace harbinet::test
