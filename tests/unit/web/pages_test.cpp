#include "web/pages.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace harbinet {
namespace {

struct PageCase {
    const char* name;
    const std::string_view* page;
    std::string_view title;
    std::string_view must_hold;
};

void PrintTo(const PageCase& page, std::ostream* out) { *out << page.name; }

class PagesTest : public testing::TestWithParam<PageCase> {
protected:
    std::string_view Page() const { return *GetParam().page; }

    bool Holds(std::string_view text) const { return Page().find(text) != std::string_view::npos; }

    std::size_t Count(std::string_view text) const {
        std::size_t count = 0;
        for (auto at = Page().find(text); at != std::string_view::npos;
             at = Page().find(text, at + text.size())) {
            ++count;
        }
        return count;
    }
};

TEST_P(PagesTest, IsOneWholeHtmlDocument) {
    EXPECT_TRUE(Page().starts_with("<!doctype html>\n"));
    EXPECT_TRUE(Page().ends_with("</html>\n"));
    EXPECT_EQ(Count("<html"), 1U);
    EXPECT_EQ(Count("</body>"), 1U);
}

TEST_P(PagesTest, SaysThatItIsUtf8) { EXPECT_TRUE(Holds("<meta charset=\"utf-8\" />")); }

TEST_P(PagesTest, HasItsTitle) {
    EXPECT_TRUE(Holds("<title>" + std::string(GetParam().title) + "</title>"));
}

TEST_P(PagesTest, HoldsItsOwnStyleAndScript) {
    EXPECT_EQ(Count("<style>"), 1U);
    EXPECT_EQ(Count("<script"), 1U);
    EXPECT_TRUE(Holds(GetParam().must_hold));
}

TEST_P(PagesTest, AsksForNoOtherFile) {
    for (const std::string_view reference : {" src=", "rel=\"stylesheet\"", "@import", "url(",
                                             "import {", "export ", "<!-- include", "https://"}) {
        EXPECT_FALSE(Holds(reference)) << reference;
    }
}

TEST_P(PagesTest, HoldsNoZeroByte) { EXPECT_EQ(Page().find('\0'), std::string_view::npos); }

INSTANTIATE_TEST_SUITE_P(
    Web, PagesTest,
    testing::Values(PageCase{"Login", &kLoginPage, "HTTPS Harbinet PRO - Login",
                             "\"Enter 6 digits.\""},
                    PageCase{"FileManager", &kFileManagerPage, "Harbinet PRO - File Manager",
                             "\"Preparing upload\xE2\x80\xA6\""},
                    PageCase{"SharedFolder", &kSharedFolderPage, "Harbinet PRO - Shared Folder",
                             "\"Preparing upload\xE2\x80\xA6\""}),
    [](const auto& page_case) { return std::string(page_case.param.name); });

}  // namespace
}  // namespace harbinet
