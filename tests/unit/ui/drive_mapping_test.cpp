#include "ui/drive_mapping.h"

#include <gtest/gtest.h>

#include "support/log_text.h"

namespace harbinet {
namespace {

constexpr unsigned long Bit(char letter) { return 1UL << (letter - 'A'); }

unsigned long Bits(std::string_view letters) {
    unsigned long bits = 0;
    for (const char letter : letters) bits |= Bit(letter);
    return bits;
}

class FakeDrives final : public DriveSystem {
public:
    bool IsAdministrator() override { return is_administrator; }
    unsigned long LogicalDrives() override { return taken; }
    std::wstring FullPath(const std::wstring& path) override {
        return has_full_path ? L"C:\\full\\" + path : std::wstring();
    }
    unsigned long Define(const std::wstring& drive, const std::wstring& target) override {
        calls.push_back(L"define " + drive + L" " + target);
        return define_error;
    }
    unsigned long Remove(const std::wstring& drive, const std::wstring& target) override {
        calls.push_back(L"remove " + drive + L" " + target);
        return remove_error;
    }
    void NotifyAdded(const std::wstring& drive_root) override {
        calls.push_back(L"added " + drive_root);
    }
    void NotifyRemoved(const std::wstring& drive_root) override {
        calls.push_back(L"removed " + drive_root);
    }

    bool is_administrator = false;
    bool has_full_path = true;
    unsigned long taken = 0;
    unsigned long define_error = 0;
    unsigned long remove_error = 0;
    std::vector<std::wstring> calls;
};

class DriveMappingTest : public testing::Test {
protected:
    using Lines = std::vector<std::wstring>;

    Lines Messages() const { return test::Messages(log_); }

    static LocalTime NoTime() { return {}; }

    EventLog log_{NoTime};
    WebRoot web_root_{L"files"};
    FakeDrives drives_;
    DriveMapping mapping_{log_, web_root_, drives_};
};

TEST_F(DriveMappingTest, TheFirstCandidateIsW) {
    EXPECT_TRUE(mapping_.Mount());
    EXPECT_TRUE(mapping_.IsMapped());
    EXPECT_EQ(mapping_.Drive(), L"W:");
    EXPECT_EQ(mapping_.DriveRoot(), L"W:\\");
    EXPECT_EQ(drives_.calls, (Lines{L"define W: \\??\\C:\\full\\files", L"added W:\\"}));
    EXPECT_EQ(Messages(), Lines{L"DRIVE   mounted W: -> files"});
}

TEST_F(DriveMappingTest, CandidatesAreTriedInTheirFixedOrder) {
    std::wstring order;
    while (mapping_.Mount()) {
        order += mapping_.Drive()[0];
        drives_.taken |= 1UL << (mapping_.Drive()[0] - L'A');
    }
    EXPECT_EQ(order, L"WTXYZUVABHIJKLMNOPQR");
    EXPECT_EQ(Messages().back(), L"DRIVE   no free drive letter");
}

TEST_F(DriveMappingTest, FreeLettersThatAreNoCandidatesStayFree) {
    drives_.taken = Bits("WTXYZUVABHIJKLMNOPQR");
    EXPECT_FALSE(mapping_.Mount());
    EXPECT_FALSE(mapping_.IsMapped());
    EXPECT_TRUE(drives_.calls.empty());
    EXPECT_EQ(Messages(), Lines{L"DRIVE   no free drive letter"});
}

TEST_F(DriveMappingTest, WithWInUseTIsChosen) {
    drives_.taken = Bits("CDW");
    EXPECT_TRUE(mapping_.Mount());
    EXPECT_EQ(mapping_.Drive(), L"T:");
}

TEST_F(DriveMappingTest, AnAdministratorGetsNoDriveAndReadsSoEachTime) {
    drives_.is_administrator = true;
    EXPECT_FALSE(mapping_.Mount());
    EXPECT_FALSE(mapping_.Mount());
    EXPECT_TRUE(drives_.calls.empty());
    EXPECT_EQ(Messages(), (Lines{L"DRIVE   skipped (running as administrator)",
                                 L"DRIVE   skipped (running as administrator)"}));
}

TEST_F(DriveMappingTest, WithoutAFullPathNothingIsDefined) {
    drives_.has_full_path = false;
    EXPECT_FALSE(mapping_.Mount());
    EXPECT_TRUE(drives_.calls.empty());
    EXPECT_EQ(Messages(), Lines{L"DRIVE   GetFullPathName failed"});
}

TEST_F(DriveMappingTest, ARefusedDefinitionIsLoggedWithItsCode) {
    drives_.define_error = 5;
    EXPECT_FALSE(mapping_.Mount());
    EXPECT_FALSE(mapping_.IsMapped());
    EXPECT_EQ(mapping_.Drive(), L"");
    EXPECT_EQ(mapping_.DriveRoot(), L"");
    EXPECT_EQ(Messages(), Lines{L"DRIVE   mount failed for W: (err=5)"});
}

TEST_F(DriveMappingTest, UnmountTakesBackWhatWasDefined) {
    mapping_.Mount();
    web_root_.Set(L"elsewhere");
    drives_.calls.clear();
    mapping_.Unmount();
    EXPECT_EQ(drives_.calls, (Lines{L"remove W: \\??\\C:\\full\\files", L"removed W:\\"}));
    EXPECT_EQ(Messages().back(), L"DRIVE   unmounted W:");
    EXPECT_FALSE(mapping_.IsMapped());
}

TEST_F(DriveMappingTest, UnmountWithoutAMappingDoesNothing) {
    mapping_.Unmount();
    EXPECT_TRUE(drives_.calls.empty());
    EXPECT_TRUE(Messages().empty());
}

TEST_F(DriveMappingTest, AFailedUnmountStillForgetsTheMapping) {
    mapping_.Mount();
    drives_.calls.clear();
    drives_.remove_error = 2;
    mapping_.Unmount();
    EXPECT_FALSE(mapping_.IsMapped());
    EXPECT_EQ(drives_.calls, Lines{L"remove W: \\??\\C:\\full\\files"});
    EXPECT_EQ(Messages().back(), L"DRIVE   unmount failed for W: (err=2)");
    mapping_.Unmount();
    EXPECT_EQ(drives_.calls.size(), 1U);
}

TEST_F(DriveMappingTest, AMountThatFailsForgetsTheMappingBefore) {
    mapping_.Mount();
    drives_.is_administrator = true;
    mapping_.Mount();
    EXPECT_FALSE(mapping_.IsMapped());
}

TEST_F(DriveMappingTest, TheCallbackHearsOfSuccessesOnly) {
    int mounted = 0;
    mapping_.SetMountedCallback([&] { ++mounted; });
    mapping_.Mount();
    EXPECT_EQ(mounted, 1);
    drives_.define_error = 5;
    mapping_.Mount();
    mapping_.Unmount();
    EXPECT_EQ(mounted, 1);
}

}  // namespace
}  // namespace harbinet
