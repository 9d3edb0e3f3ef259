// Several connections one after the other against the real router, login gate and login service,
// with stand-ins for the file endpoints. Connections are separated by the byte 0x1E; each begins
// with one byte that says how its bytes are cut, which client sends them and how much later.
#include <algorithm>
#include <array>
#include <map>

#include "auth/login.h"
#include "fuzz_input.h"
#include "http/json.h"
#include "http/response.h"
#include "support/fake_random.h"
#include "support/fake_stream.h"
#include "support/test_clock.h"

namespace harbinet::test {
namespace {

constexpr std::uint64_t kStart = 1'767'344'823;
constexpr char kConnectionEnd = '\x1E';

// The program's rows, with a handler that reads what the real ones read.
class Site {
public:
    Site() {
        wall_seconds = kStart;
        credentials_.Reset();
        Check(credentials_.CurrentPin() == "305985", "the PIN is known to the corpus");
        credentials_.SetMasterPin("654321");
    }

    void Serve(const std::string& connection) {
        constexpr std::array<std::size_t, 4> kPieces = {SIZE_MAX, 1, 7, 1000};
        constexpr std::array kClients = {"10.0.0.7", "10.0.0.8", "fe80::1", "::1"};
        constexpr std::array<std::uint64_t, 8> kPauses = {0, 1, 60, 120, 900, 901, 28'799, 28'800};
        const auto choice = static_cast<unsigned char>(connection[0]);
        const std::string request = connection.substr(1);
        wall_seconds += kPauses[choice >> 4 & 7];

        FakeStream stream(request, kPieces[choice & 3]);
        // Each handler that needs a session checks that the request shows one.
        request_ = request;
        ServeRequest(stream, kClients[choice >> 2 & 3], table_);
        Check(stream.writes <= 2, "one reply at the most");
        if (!stream.output.empty()) CheckReply(stream.output);
        if (request.find("\r\n\r\n") == std::string::npos) {
            Check(stream.output.empty(), "half a head gets no reply");
        }
    }

private:
    HttpRoute Row(std::string_view method, PathMatch match, std::string_view path,
                  std::size_t min_path_length, Access access) {
        return {method, match, path, min_path_length, access, [this, access](Exchange& exchange) {
                    if (access == Access::kSession) CheckHasSession();
                    StandIn(exchange);
                }};
    }

    static void StandIn(Exchange& exchange) {
        HttpRequest& request = exchange.request;
        const std::string path = UrlDecode(GetQueryParam(request.query, "path"));
        ReadBody(exchange.stream, request, 1'048'576);
        std::vector<std::string> names;
        if (!JsonGetStringArray(request.body, "names", names)) {
            const std::string name = JsonGetString(request.body, "name");
            SendJsonError(exchange.stream, 400, JsonError(name + path));
            return;
        }
        std::string members = "\"path\":\"" + JsonEscape(path) + "\"";
        for (const std::string& name : names) members += ",\"" + JsonEscape(name) + "\":0";
        SendOkBytes(exchange.stream, kJsonType, JsonOk(members), {{"X", "y"}});
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

    FakeRandom random_;
    Credentials credentials_{random_, TestWallSeconds};
    BanTable bans_;
    EventLog log_;
    LoginService login_{credentials_, bans_, log_, TestWallSeconds};
    std::string request_;
    std::map<std::string, std::uint64_t> session_ends_;
    const RouteTable table_{
        {Row("GET", PathMatch::kPrefix, "/s/", 3, Access::kPublic),
         Row("GET", PathMatch::kExact, "/api/status", 0, Access::kPublic),
         Row("GET", PathMatch::kExact, "/", 0, Access::kPublic),
         {"POST", PathMatch::kExact, "/api/login", 0, Access::kPublic,
          [this](Exchange& exchange) { login_.Login(exchange); }},
         Row("GET", PathMatch::kPrefix, "/d/", 3, Access::kPublic),
         Row("POST", PathMatch::kPrefix, "/d/", 4, Access::kPublic),
         {"GET", PathMatch::kExact, "/auto", 0, Access::kPublic,
          [this](Exchange& exchange) { login_.AutoLogin(exchange); }},
         Row("GET", PathMatch::kExact, "/api/list", 0, Access::kSession),
         Row("GET", PathMatch::kExact, "/download", 0, Access::kSession),
         Row("POST", PathMatch::kExact, "/upload", 0, Access::kSession),
         Row("POST", PathMatch::kExact, "/api/delete_many", 0, Access::kSession)},
        [this](const HeaderList& headers) { return credentials_.IsSessionValid(headers); }};
};

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet::test;
    const std::string input = InputText(data, size);
    Site site;
    for (std::size_t begin = 0; begin < input.size();) {
        const std::size_t end = std::min(input.find(kConnectionEnd, begin), input.size());
        if (end > begin) site.Serve(input.substr(begin, end - begin));
        begin = end + 1;
    }
    return 0;
}
