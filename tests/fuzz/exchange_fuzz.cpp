// Several connections one after the other against the program's own route table, over a file system
// in memory. Connections are separated by the byte 0x1E; each begins with one byte that says how
// its bytes are cut, which client sends them and how much later.
#include <algorithm>
#include <array>
#include <map>

#include "fuzz_input.h"
#include "support/site.h"

namespace harbinet::test {
namespace {

constexpr char kConnectionEnd = '\x1E';
constexpr std::wstring_view kInside = L"D:\\Share\\";
// The second one shares its beginning with the web root.
constexpr std::array kOutside = {L"D:\\Other\\secret.txt", L"D:\\Share2\\secret.txt"};
constexpr const char* kSecret = "only outside";

class Visits {
public:
    Visits() {
        Check(site_.credentials.CurrentPin() == "305985", "the PIN is known to the corpus");
        site_.credentials.SetMasterPin("654321");
        site_.files.AddFile(L"D:\\Share\\a.txt", "inside");
        site_.files.AddFolder(L"D:\\Share\\docs");
        site_.files.AddFile(L"D:\\Share\\docs\\b.txt", "deeper inside");
        site_.files.AddFolder(L"D:\\Other");
        site_.files.AddFolder(L"D:\\Share2");
        for (const wchar_t* path : kOutside) site_.files.AddFile(path, kSecret);
        for (HttpRoute& route : site_.table.routes) {
            if (route.access == Access::kSession) AddSessionCheck(route);
        }
    }

    void Serve(const std::string& connection) {
        constexpr std::array<std::size_t, 4> kPieces = {SIZE_MAX, 1, 7, 1000};
        constexpr std::array kClients = {"10.0.0.7", "10.0.0.8", "fe80::1", "::1"};
        constexpr std::array<std::uint64_t, 8> kPauses = {0, 1, 60, 120, 900, 901, 28'799, 28'800};
        const auto choice = static_cast<unsigned char>(connection[0]);
        request_ = connection.substr(1);
        wall_seconds += kPauses[choice >> 4 & 7];

        FakeStream stream(request_, kPieces[choice & 3]);
        site_.Serve(stream, kClients[choice >> 2 & 3]);
        if (!stream.output.empty()) CheckReply(stream.output);
        if (request_.find("\r\n\r\n") == std::string::npos) {
            Check(stream.output.empty(), "half a head gets no reply");
        }
        Check(site_.files.open_files == 0, "every file is closed again");
    }

    void CheckOutside() const {
        for (const std::wstring& path : site_.files.Paths()) {
            const bool is_known = path == L"D:\\Share" || path == L"D:\\Other" ||
                                  path == L"D:\\Share2" || path == kOutside[0] ||
                                  path == kOutside[1];
            Check(is_known || path.starts_with(kInside), "nothing is made outside the web root");
        }
        for (const wchar_t* path : kOutside) {
            Check(site_.files.Content(path) == kSecret, "nothing is changed outside the web root");
        }
    }

private:
    void AddSessionCheck(HttpRoute& route) {
        route.handler = [this, serve = route.handler](Exchange& exchange) {
            CheckHasSession();
            serve(exchange);
        };
    }

    void CheckHasSession() const {
        for (const auto& [token, end] : session_ends_) {
            if (wall_seconds < end && request_.find("AUTH=" + token) != std::string::npos) return;
        }
        Check(false, "a protected row runs only with a session");
    }

    void CheckReply(const std::string& reply) {
        Check(reply.starts_with("HTTP/1.1 "), "a reply begins with its status");
        const std::size_t head_end = reply.find("\r\n\r\n");
        Check(head_end != std::string::npos, "a head ends with a blank line");
        const std::string length = After(reply, "\r\nContent-Length: ", "\r\n");
        Check(length == std::to_string(reply.size() - head_end - 4), "the length is the body's");
        Check(reply.find("\r\nConnection: close\r\n") < head_end, "every reply closes");
        // An input that holds the text may upload it.
        knows_secret_ |= request_.find(kSecret) != std::string::npos;
        Check(knows_secret_ || reply.find(kSecret) == std::string::npos,
              "nothing is read outside the web root");
        const std::string token = After(reply.substr(0, head_end), "Set-Cookie: AUTH=", ";");
        if (!token.empty()) session_ends_[token] = wall_seconds + 28'800;
    }

    static std::string After(const std::string& text, const std::string& begin,
                             const std::string& end) {
        const std::size_t found = text.find(begin);
        if (found == std::string::npos) return {};
        const std::size_t from = found + begin.size();
        return text.substr(from, text.find(end, from) - from);
    }

    Site site_;
    std::string request_;
    std::map<std::string, std::uint64_t> session_ends_;
    bool knows_secret_ = false;
};

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet::test;
    const std::string input = InputText(data, size);
    Visits visits;
    for (std::size_t begin = 0; begin < input.size();) {
        const std::size_t end = std::min(input.find(kConnectionEnd, begin), input.size());
        if (end > begin) visits.Serve(input.substr(begin, end - begin));
        begin = end + 1;
    }
    visits.CheckOutside();
    return 0;
}
