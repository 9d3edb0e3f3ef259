#include "kept_settings.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace harbinet::kit {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* kRoot = L"Software\\Harbinet kit tests";

class KeptSettingsTest : public testing::Test {
protected:
    KeptSettingsTest() { Clear(); }
    ~KeptSettingsTest() override { Clear(); }

    void Clear() {
        RegDeleteTreeW(HKEY_CURRENT_USER, kRoot);
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        Set(L"Run", L"Somebody else", L"else.exe");
    }

    static std::wstring Key(const wchar_t* name) { return std::wstring(kRoot) + L"\\" + name; }
    static void Set(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
        RegSetKeyValueW(HKEY_CURRENT_USER, Key(key).c_str(), name, REG_EXPAND_SZ, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    static std::optional<std::wstring> Value(const wchar_t* key, const wchar_t* name) {
        wchar_t text[64] = {};
        DWORD size = sizeof text;
        if (RegGetValueW(HKEY_CURRENT_USER, Key(key).c_str(), name, RRF_RT_ANY | RRF_NOEXPAND,
                         nullptr, text, &size) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        return text;
    }
    static bool KeyExists(const wchar_t* key) {
        HKEY opened = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, Key(key).c_str(), 0, KEY_READ, &opened) != 0) {
            return false;
        }
        RegCloseKey(opened);
        return true;
    }
    void Write(const wchar_t* name, const std::string& content) const {
        fs::create_directories((folder_ / name).parent_path());
        std::ofstream(folder_ / name) << content;
    }
    std::string Read(const wchar_t* name) const {
        std::ifstream file(folder_ / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // What a user has, and what tests leave in its place.
    void MakeUsersThings() const {
        Set(L"Settings", L"MasterPin6", L"123456");
        Set(L"Settings\\deeper", L"WebRootPath", L"%TEMP%\\x");
        Set(L"Run", L"Harbinet PRO", L"\"C:\\a b\\Harbinet.exe\" --autostart");
        Write(L"data\\files\\mine.txt", "mine");
    }
    void MakeTestsThings() const {
        Set(L"Settings", L"MasterPin6", L"999999");
        Set(L"Settings", L"Added", L"x");
        Set(L"Run", L"Harbinet PRO", L"test.exe");
        Write(L"data\\files\\test.txt", "test");
    }
    void ExpectUsersThings() const {
        EXPECT_EQ(Value(L"Settings", L"MasterPin6"), L"123456");
        EXPECT_EQ(Value(L"Settings", L"Added"), std::nullopt);
        EXPECT_EQ(Value(L"Settings\\deeper", L"WebRootPath"), L"%TEMP%\\x");
        EXPECT_EQ(Value(L"Run", L"Harbinet PRO"), L"\"C:\\a b\\Harbinet.exe\" --autostart");
        EXPECT_EQ(Value(L"Run", L"Somebody else"), L"else.exe");
        EXPECT_EQ(Read(L"data\\files\\mine.txt"), "mine");
        EXPECT_FALSE(fs::exists(folder_ / L"data\\files\\test.txt"));
        EXPECT_FALSE(KeyExists(L"Kept"));
        EXPECT_FALSE(fs::exists(folder_ / L"kept"));
    }

    const fs::path folder_ = fs::temp_directory_path() / L"harbinet kit tests";
    const KeptPlaces places_{.settings_key = Key(L"Settings"),
                             .run_key = Key(L"Run"),
                             .run_value = L"Harbinet PRO",
                             .kept_key = Key(L"Kept"),
                             .data_folder = folder_ / L"data",
                             .kept_folder = folder_ / L"kept"};
    KeptSettings settings_{places_};
};

TEST_F(KeptSettingsTest, KeepingLeavesNothingInTheProgramsPlaces) {
    MakeUsersThings();
    EXPECT_FALSE(settings_.AreKept());
    ASSERT_TRUE(settings_.Keep());
    EXPECT_TRUE(settings_.AreKept());
    EXPECT_FALSE(KeyExists(L"Settings"));
    EXPECT_EQ(Value(L"Run", L"Harbinet PRO"), std::nullopt);
    EXPECT_EQ(Value(L"Run", L"Somebody else"), L"else.exe");
    EXPECT_FALSE(fs::exists(folder_ / L"data"));
}

TEST_F(KeptSettingsTest, RestoringBringsBackEverythingAndRemovesWhatTestsLeft) {
    MakeUsersThings();
    ASSERT_TRUE(settings_.Keep());
    MakeTestsThings();
    ASSERT_TRUE(settings_.Restore({}));
    ExpectUsersThings();
}

TEST_F(KeptSettingsTest, WhatWasNotThereIsNotThereAfterwards) {
    ASSERT_TRUE(settings_.Keep());
    MakeTestsThings();
    ASSERT_TRUE(settings_.Restore({}));
    EXPECT_FALSE(KeyExists(L"Settings"));
    EXPECT_FALSE(KeyExists(L"Kept"));
    EXPECT_EQ(Value(L"Run", L"Harbinet PRO"), std::nullopt);
    EXPECT_FALSE(fs::exists(folder_ / L"data"));
}

TEST_F(KeptSettingsTest, AnotherProcessRestoresAfterACrash) {
    MakeUsersThings();
    ASSERT_TRUE(settings_.Keep());
    MakeTestsThings();
    KeptSettings next(places_);
    EXPECT_TRUE(next.AreKept());
    ASSERT_TRUE(next.Restore({}));
    ExpectUsersThings();
}

TEST_F(KeptSettingsTest, WhatStandsInTheDataFoldersPlaceAfterACrashIsNotLost) {
    MakeUsersThings();
    ASSERT_TRUE(settings_.Keep());
    Write(L"data\\files\\since then.txt", "new");
    ASSERT_TRUE(settings_.Restore(folder_ / L"left"));
    ExpectUsersThings();
    EXPECT_EQ(Read(L"left\\files\\since then.txt"), "new");
}

TEST_F(KeptSettingsTest, ARestoreThatWasInterruptedIsFinishedByTheNext) {
    MakeUsersThings();
    ASSERT_TRUE(settings_.Keep());
    // As far as a first restore came: the folder is back, the key of what is kept still there.
    fs::rename(folder_ / L"kept", folder_ / L"data");
    ASSERT_TRUE(settings_.Restore({}));
    ExpectUsersThings();
}

TEST_F(KeptSettingsTest, ADataFolderInUseIsLeftAloneAndEverythingStays) {
    MakeUsersThings();
    const HANDLE open = CreateFileW((folder_ / L"data\\files\\mine.txt").c_str(), GENERIC_READ, 0,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    const bool kept = settings_.Keep();
    CloseHandle(open);
    // Windows refuses to move a folder with an open file, others do not.
    EXPECT_EQ(settings_.AreKept(), kept);
    ASSERT_TRUE(settings_.Restore({}));
    ExpectUsersThings();
}

TEST_F(KeptSettingsTest, RestoringWithoutAnythingKeptChangesNothing) {
    MakeUsersThings();
    ASSERT_TRUE(settings_.Restore({}));
    ExpectUsersThings();
}

}  // namespace
}  // namespace harbinet::kit
