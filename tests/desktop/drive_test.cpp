// The drive letter of the web root.
#include <gtest/gtest.h>

#include <memory>

#include "program.h"

namespace harbinet::test {
namespace {

constexpr std::wstring_view kCandidates = L"WTXYZUVABHIJKLMNOPQR";

// What a letter leads to, or empty.
std::wstring TargetOf(const std::wstring& drive) {
    wchar_t target[512] = {};
    return QueryDosDeviceW(drive.c_str(), target, 512) != 0 ? std::wstring(target) : std::wstring();
}

// Letters that other programs hold while a test runs.
class TakenLetters {
public:
    explicit TakenLetters(std::wstring_view letters) {
        for (const wchar_t letter : letters) {
            const std::wstring drive{letter, L':'};
            if ((GetLogicalDrives() >> (letter - L'A') & 1U) != 0) continue;
            EXPECT_TRUE(DefineDosDeviceW(DDD_RAW_TARGET_PATH, drive.c_str(), L"\\??\\C:\\windows"));
            drives_.push_back(drive);
        }
    }
    ~TakenLetters() {
        for (const std::wstring& drive : drives_) {
            DefineDosDeviceW(DDD_REMOVE_DEFINITION, drive.c_str(), nullptr);
        }
    }
    TakenLetters(const TakenLetters&) = delete;
    TakenLetters& operator=(const TakenLetters&) = delete;

private:
    std::vector<std::wstring> drives_;
};

std::wstring MountedLine(wchar_t letter) {
    return std::wstring(L"DRIVE   mounted ") + letter + L": -> " + DataFolder() + L"\\files";
}

class DriveTest : public testing::Test {
protected:
    void SetUp() override {
        if (IsElevated()) GTEST_SKIP() << "an administrator gets no drive";
        for (const wchar_t letter : {L'W', L'T', L'R'}) {
            if ((GetLogicalDrives() >> (letter - L'A') & 1U) != 0) {
                GTEST_SKIP() << "this computer has a drive W:, T: or R: of its own";
            }
        }
    }
    void Start() {
        program_ = std::make_unique<Program>();
        program_->WaitUntilListening();
    }
    std::unique_ptr<Program> program_;
};

TEST_F(DriveTest, TheWebRootBecomesW) {
    Start();
    EXPECT_EQ(program_->ControlText(kDriveLabel), L"Drive:   W");
    EXPECT_EQ(TargetOf(L"W:"), L"\\??\\" + DataFolder() + L"\\files");
    EXPECT_TRUE(program_->WaitForLog(MountedLine(L'W')));
}

TEST_F(DriveTest, TheLetterIsFreeAfterTheEnd) {
    Start();
    program_->Close();
    EXPECT_EQ(TargetOf(L"W:"), L"");
}

TEST_F(DriveTest, WithWTakenItIsT) {
    const TakenLetters taken(L"W");
    Start();
    EXPECT_EQ(program_->ControlText(kDriveLabel), L"Drive:   T");
    EXPECT_TRUE(program_->WaitForLog(MountedLine(L'T')));
}

TEST_F(DriveTest, WithAllButTheLastTakenItIsR) {
    const TakenLetters taken(kCandidates.substr(0, 19));
    Start();
    EXPECT_EQ(program_->ControlText(kDriveLabel), L"Drive:   R");
}

TEST_F(DriveTest, WithAllTwentyTakenThereIsNone) {
    const TakenLetters taken(kCandidates);
    Start();
    EXPECT_EQ(program_->ControlText(kDriveLabel), L"Drive:   -");
    EXPECT_TRUE(program_->WaitForLog(L"DRIVE   no free drive letter"));
}

TEST_F(DriveTest, AChangeOfTheWebRootMapsItAnew) {
    Start();
    program_->Command(kBackButton);
    EXPECT_TRUE(program_->WaitForLog(L"DRIVE   unmounted W:"));
    EXPECT_TRUE(WaitUntil([&] { return program_->CountLog(MountedLine(L'W')) == 2; }));
    EXPECT_EQ(program_->ControlText(kDriveLabel), L"Drive:   W");
}

TEST_F(DriveTest, AFailedUnmountIsLoggedAndForgotten) {
    Start();
    DefineDosDeviceW(DDD_REMOVE_DEFINITION, L"W:", nullptr);
    program_->Command(kBackButton);
    EXPECT_TRUE(WaitUntil([&] {
        for (const std::wstring& message : program_->LogMessages()) {
            if (message.starts_with(L"DRIVE   unmount failed for W: (err=")) return true;
        }
        return false;
    }));
    EXPECT_TRUE(WaitUntil([&] { return program_->CountLog(MountedLine(L'W')) == 2; }));
}

TEST(ElevatedDriveTest, AnAdministratorGetsNoDrive) {
    if (!IsElevated()) GTEST_SKIP() << "only for administrators";
    Program program;
    program.WaitUntilListening();
    const std::wstring line = L"DRIVE   skipped (running as administrator)";
    EXPECT_TRUE(program.WaitForLog(line));
    EXPECT_EQ(program.ControlText(kDriveLabel), L"Drive:   -");
    EXPECT_EQ(TargetOf(L"W:"), L"");
    program.Command(kBackButton);
    EXPECT_TRUE(WaitUntil([&] { return program.CountLog(line) == 2; }));
}

}  // namespace
}  // namespace harbinet::test
