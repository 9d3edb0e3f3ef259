#include "files/windows_names.h"

#include <gtest/gtest.h>

#include <string>

namespace harbinet {
namespace {

std::string Shown(std::wstring_view path) {
    std::string shown;
    for (const wchar_t c : path) shown += c > 31 && c < 127 ? static_cast<char>(c) : '#';
    return shown;
}

TEST(WindowsNamesTest, OrdinaryPathsNameFiles) {
    for (const wchar_t* path : {
             L"D:\\",
             L"D:\\Share",
             L"D:\\Share\\",
             L"d:/share/./x",
             L"D:\\Share\\a.txt",
             L"\\\\server\\share\\a.txt",
             L"\\\\?\\D:\\Share\\a.txt",
             L"D:\\Share\\.hidden",
             L"D:\\Share\\\u00FC \U0001F600",
             L"D:\\Share\\.",
             L"D:\\Share\\ ",
             L"D:\\...",
             // Names that only resemble those of devices.
             L"D:\\CONSOLE",
             L"D:\\NULL.txt",
             L"D:\\xNUL",
             L"D:\\NUL-1",
             L"D:\\NU",
             L"D:\\COM",
             L"D:\\COM0",
             L"D:\\COM10",
             L"D:\\COMA",
             L"D:\\COM\u2074",
             L"D:\\LPT",
             L"D:\\LPT01",
             L"D:\\ NUL",
             L"D:\\.NUL",
             L"D:\\a.NUL",
             L"D:\\CONIN",
             L"D:\\CONOUT$1",
             L"D:\\CON$",
             // Only the last part of a path reaches a device.
             L"D:\\con.stantin\\a.txt",
             L"D:\\NUL\\x",
             L"D:/COM1/x.txt",
         }) {
        EXPECT_TRUE(NamesFileOnDisk(path)) << Shown(path);
    }
}

TEST(WindowsNamesTest, DevicesAreNoFilesInAnyFolderAndSpelling) {
    for (const std::wstring name : {
             L"NUL",
             L"nul",
             L"Nul",
             L"CON",
             L"PRN",
             L"AUX",
             L"CONIN$",
             L"conout$",
             L"COM1",
             L"COM9",
             L"LPT1",
             L"lpt9",
             L"COM\u00B9",
             L"COM\u00B2",
             L"LPT\u00B3",
             // With extensions, blanks and dots.
             L"NUL.txt",
             L"nul.tar.gz",
             L"COM3.",
             L"AUX ",
             L"AUX  .txt",
             L"PRN. .",
             L"CON...",
             L"CONIN$.x",
             L"COM\u00B9.log",
         }) {
        for (const std::wstring folder :
             {L"", L"D:", L"D:\\", L"D:\\Share\\", L"D:/Share/", L"\\\\server\\share\\",
              L"\\\\?\\D:\\Share\\", L"D:\\Share\\a.b\\.\\"}) {
            EXPECT_FALSE(NamesFileOnDisk(folder + name)) << Shown(folder + name);
        }
        // Parts that disappear when the path is made a full one.
        for (const std::wstring end : {L"\\", L"\\.", L"/./", L"\\ ", L"\\. .\\..."}) {
            EXPECT_FALSE(NamesFileOnDisk(L"D:\\Share\\" + name + end)) << Shown(name + end);
        }
    }
}

TEST(WindowsNamesTest, AColonIsAllowedBehindADriveLetterOnly) {
    for (const wchar_t* path : {
             L"D:\\a.txt:stream",
             L"D:\\a.txt::$DATA",
             L"D:\\a.pdf:Zone.Identifier",
             L"D:\\a.txt:",
             L"D:\\Share\\C:\\Windows",
             L"D:\\Share:x\\a.txt",
             L"D::\\a",
             L":",
             L"1:\\a",
             L"\\\\?\\D:\\a:b",
             L"\\\\server\\share\\a:b",
             L"D:\\ :",
         }) {
        EXPECT_FALSE(NamesFileOnDisk(path)) << Shown(path);
    }
}

TEST(WindowsNamesTest, TheDeviceNamespaceHoldsNoFiles) {
    for (const wchar_t* path : {L"\\\\.\\NUL", L"\\\\.\\PhysicalDrive0", L"//./COM3",
                                L"\\\\./C:\\x", L"\\\\.\\D:\\Share\\a.txt"}) {
        EXPECT_FALSE(NamesFileOnDisk(path)) << Shown(path);
    }
}

TEST(WindowsNamesTest, NothingAndANulNameNothing) {
    EXPECT_FALSE(NamesFileOnDisk(L""));
    EXPECT_FALSE(NamesFileOnDisk(std::wstring_view(L"D:\\a\0.txt", 9)));
    EXPECT_FALSE(NamesFileOnDisk(std::wstring_view(L"\0", 1)));
}

}  // namespace
}  // namespace harbinet
