// Runs every file of the folders that are named on the command line through the fuzz target it is
// linked with. Ends with 1 when a folder holds no file: a replay of nothing proves nothing.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz_input.h"

int main(int argc, char** argv) {
    if (argc < 2) return 1;
    for (int i = 1; i < argc; ++i) {
        int files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            std::printf("%s\n", entry.path().filename().string().c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
            ++files;
        }
        std::printf("%d files from %s\n", files, argv[i]);
        if (files == 0) return 1;
    }
    return 0;
}
