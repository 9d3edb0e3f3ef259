#include "app/settings_win.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <vector>

#include "app/unique_handle_win.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kName = L"SettingOfATest";

// Each test leaves the key as it would be on a new machine.
class SettingsTest : public testing::Test {
protected:
    void SetUp() override { RegDeleteTreeW(HKEY_CURRENT_USER, kSettingsKey); }
    void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, kSettingsKey); }

    static void Store(DWORD type, const std::vector<wchar_t>& characters) {
        UniqueRegistryKey key;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kSettingsKey, 0, nullptr, 0, KEY_SET_VALUE,
                                  nullptr, key.Out(), nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExW(key.Get(), kName, 0, type,
                                 reinterpret_cast<const BYTE*>(characters.data()),
                                 static_cast<DWORD>(characters.size() * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }

    static void StoreText(DWORD type, std::wstring text) {
        text += L'\0';
        Store(type, {text.begin(), text.end()});
    }
};

TEST_F(SettingsTest, MissingKeyIsNotSet) { EXPECT_EQ(ReadSetting(kName), std::nullopt); }

TEST_F(SettingsTest, MissingValueIsNotSet) {
    ASSERT_TRUE(WriteSetting(L"AnotherSetting", L"text"));
    EXPECT_EQ(ReadSetting(kName), std::nullopt);
}

TEST_F(SettingsTest, ReadsWhatWasWritten) {
    const std::wstring text = L"C:\\Users\\M\u00FCller\\\u4E2D\u6587 \U0001F600";
    ASSERT_TRUE(WriteSetting(kName, text));
    EXPECT_EQ(ReadSetting(kName), text);
}

TEST_F(SettingsTest, WritingAgainReplaces) {
    ASSERT_TRUE(WriteSetting(kName, L"a longer first text"));
    ASSERT_TRUE(WriteSetting(kName, L"second"));
    EXPECT_EQ(ReadSetting(kName), L"second");
}

TEST_F(SettingsTest, ReadsUpTo255Characters) {
    const struct {
        std::size_t length;
        bool is_read;
    } kCases[] = {{1, true}, {254, true}, {255, true}, {256, false}, {300, false}};
    for (const auto& c : kCases) {
        const std::wstring text(c.length, L'x');
        StoreText(REG_SZ, text);
        const std::optional<std::wstring> value = ReadSetting(kName);
        EXPECT_EQ(value.has_value(), c.is_read) << c.length;
        if (value) {
            EXPECT_EQ(*value, text);
        }
    }
}

TEST_F(SettingsTest, OtherTypesAreNotSet) {
    for (const DWORD type : {REG_EXPAND_SZ, REG_MULTI_SZ, REG_BINARY, REG_LINK, REG_NONE}) {
        StoreText(type, L"C:\\files");
        EXPECT_EQ(ReadSetting(kName), std::nullopt) << type;
    }
    Store(REG_DWORD, {1, 2});
    EXPECT_EQ(ReadSetting(kName), std::nullopt);
}

TEST_F(SettingsTest, EmptyTextIsNotSet) {
    StoreText(REG_SZ, L"");
    EXPECT_EQ(ReadSetting(kName), std::nullopt);
    Store(REG_SZ, {});
    EXPECT_EQ(ReadSetting(kName), std::nullopt);
}

TEST_F(SettingsTest, TextEndsAtTheFirstNull) {
    Store(REG_SZ, {L'a', L'b', L'\0', L'c', L'd', L'\0'});
    EXPECT_EQ(ReadSetting(kName), L"ab");
    Store(REG_SZ, {L'\0', L'c', L'd', L'\0'});
    EXPECT_EQ(ReadSetting(kName), std::nullopt);
}

TEST_F(SettingsTest, TextWithoutTerminatorIsReadWhole) {
    Store(REG_SZ, {L'a', L'b', L'c'});
    EXPECT_EQ(ReadSetting(kName), L"abc");
}

TEST_F(SettingsTest, StoresTheTextWithItsTerminator) {
    ASSERT_TRUE(WriteSetting(kName, L"012345"));
    UniqueRegistryKey key;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kSettingsKey, 0, KEY_READ, key.Out()),
              ERROR_SUCCESS);
    DWORD type = 0;
    DWORD bytes = 0;
    ASSERT_EQ(RegQueryValueExW(key.Get(), kName, nullptr, &type, nullptr, &bytes), ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(bytes, 14u);
}

TEST_F(SettingsTest, BoundedReadGivesTheType) {
    StoreText(REG_EXPAND_SZ, L"%TEMP%");
    const std::optional<RegistryText> value = ReadRegistryText(kSettingsKey, kName, 512);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type, static_cast<DWORD>(REG_EXPAND_SZ));
    EXPECT_EQ(value->text, L"%TEMP%");
    EXPECT_EQ(ReadRegistryText(kSettingsKey, kName, 12), std::nullopt);
}

}  // namespace
}  // namespace harbinet
