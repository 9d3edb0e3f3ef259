#include "test_report.h"

#include <gtest/gtest.h>

namespace harbinet::kit {
namespace {

constexpr const char* kReport = R"(<?xml version="1.0" encoding="UTF-8"?>
<testsuites tests="4" failures="1" disabled="1" errors="0" time="0.1" name="AllTests">
  <testsuite name="A" tests="4" failures="1" disabled="1" skipped="1" errors="0">
    <testcase name="Good" file="x.cpp" line="1" status="run" result="completed" classname="A" />
    <testcase name="Bad" status="run" result="completed" time="0" classname="A">
      <failure message="x.cpp:7&#x0A;1 &lt; 2" type=""><![CDATA[x.cpp:7 result="skipped"]]></failure>
    </testcase>
    <testcase name="Left/Out" status="run" result="skipped" classname="A">
      <skipped message="x.cpp:9&#x0A;no &quot;tray&quot; here"><![CDATA[x]]></skipped>
    </testcase>
    <testcase name="DISABLED_Off" status="notrun" result="suppressed" classname="A" />
  </testsuite>
</testsuites>
)";

TEST(TestReportTest, CountsPassedNamesFailedAndGivesReasonsForSkipped) {
    const TestReport report = ReadTestReport(kReport);
    EXPECT_EQ(report.passed, 1);
    EXPECT_EQ(report.failed, std::vector<std::string>{"A.Bad"});
    ASSERT_EQ(report.skipped.size(), 1U);
    EXPECT_EQ(report.skipped[0].name, "A.Left/Out");
    EXPECT_EQ(report.skipped[0].reason, "no \"tray\" here");
}

TEST(TestReportTest, AnUnfinishedReportHoldsNoTest) {
    EXPECT_EQ(ReadTestReport("").passed, 0);
    const std::string half = std::string(kReport).substr(0, 500);
    EXPECT_EQ(ReadTestReport(half).passed, 0);
}

}  // namespace
}  // namespace harbinet::kit
