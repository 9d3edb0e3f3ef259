#include "app/web_root.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace harbinet {
namespace {

TEST(WebRootTest, KeepsThePathExactlyAsSet) {
    WebRoot root(L"D:\\Share\\");
    EXPECT_EQ(root.Get(), L"D:\\Share\\");
    root.Set(L"E:\\");
    EXPECT_EQ(root.Get(), L"E:\\");
}

TEST(WebRootTest, TheDefaultIsTheFolderFilesInTheBaseDataFolder) {
    EXPECT_EQ(DefaultWebRoot(L"C:\\Data\\Harbinet"), L"C:\\Data\\Harbinet\\files");
    EXPECT_EQ(DefaultWebRoot(L""), L"\\files");
}

TEST(WebRootTest, ReadersSeeOneWholeValueWhileItIsReplaced) {
    const std::wstring first(300, L'a');
    const std::wstring second(400, L'b');
    WebRoot root(first);
    std::atomic<bool> torn{false};
    {
        std::vector<std::jthread> readers;
        for (int i = 0; i < 4; ++i) {
            readers.emplace_back([&] {
                for (int k = 0; k < 2000; ++k) {
                    const std::wstring seen = root.Get();
                    if (seen != first && seen != second) torn = true;
                }
            });
        }
        for (int k = 0; k < 2000; ++k) root.Set(k % 2 ? first : second);
    }
    EXPECT_FALSE(torn);
}

}  // namespace
}  // namespace harbinet
