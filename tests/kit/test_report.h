// What a GoogleTest program wrote into its XML report.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace harbinet::kit {

struct TestReport {
    int passed = 0;
    std::vector<std::string> failed;
    struct Skipped {
        std::string name;
        std::string reason;
    };
    std::vector<Skipped> skipped;
};

// A report that is empty, or not finished, holds no test.
TestReport ReadTestReport(std::string_view xml);

}  // namespace harbinet::kit
