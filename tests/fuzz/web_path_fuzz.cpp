// A path or a name as a client sends it: nothing may lead out of the web root or out of a folder.
#include <string>

#include "app/encoding.h"
#include "files/names.h"
#include "files/upload.h"
#include "files/web_path.h"
#include "fuzz_input.h"
#include "support/fake_file_system.h"

namespace harbinet::test {
namespace {

constexpr wchar_t kRoot[] = L"D:\\Share";

void CheckResolved(const std::wstring& relative) {
    FakeFileSystem files;
    const std::wstring path = ResolveWebPath(files, kRoot, relative);
    if (path.empty()) return;
    Check(path.starts_with(kRoot), "a resolved path begins with the web root");
    Check(path == kRoot || path[std::size(kRoot) - 1] == L'\\', "it lies below the web root");
    Check(path.find(L"..") == std::wstring::npos, "it leads nowhere upwards");
    Check(path.find(L'/') == std::wstring::npos, "it has one kind of separator");
    Check(path.size() <= 259, "it fits");
}

void CheckName(const std::wstring& name) {
    const std::wstring joined = JoinDirName(kRoot, name);
    Check(IsSimpleName(name) == (StaysInFolder(name) && !name.empty()), "the two rules agree");
    if (!IsSimpleName(name)) return;
    Check(FileBaseName(joined) == name, "a simple name is one component");
    Check(joined.find(L"..") == std::wstring::npos, "a simple name leads nowhere upwards");
}

void CheckStored(const std::wstring& stored) {
    Check(!stored.empty(), "every upload has a name");
    Check(stored.find_first_of(L"\"*/:<>?\\|") == std::wstring::npos, "it is one component");
}

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet;
    const std::string input = test::InputText(data, size);
    const std::wstring wide = Utf8ToWide(input);
    test::CheckResolved(wide);
    test::CheckName(wide);
    test::CheckStored(StoredFileName(input));

    const std::wstring normalized = NormalizeRelPath(wide);
    test::Check(NormalizeRelPath(normalized) == normalized, "normalising twice changes nothing");
    test::Check(!normalized.starts_with(L'/') && normalized.find(L'\\') == std::wstring::npos,
                "a normalised path is relative and has one kind of separator");
    return 0;
}
