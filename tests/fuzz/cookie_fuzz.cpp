// A Cookie header, against a session table with one session.
#include "auth/credentials.h"
#include "fuzz_input.h"
#include "support/fake_random.h"
#include "support/header_text.h"
#include "support/test_clock.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet;
    using test::Check;
    const std::string header = test::InputText(data, size);

    const std::string value(GetCookieValue(header, "AUTH"));
    Check(value.find(';') == std::string::npos, "a value ends at the semicolon");
    Check(value.empty() || header.find("AUTH=" + value) != std::string::npos,
          "the value stands in the header");
    Check(GetCookieValue("AUTH=first;" + header, "AUTH") == "first", "the first item counts");
    Check(GetCookieValue(" ;; a=AUTH=b ; XAUTH=c;" + header, "AUTH") == value,
          "other items are passed over");

    test::wall_seconds = 1'767'344'823;
    test::FakeRandom random;
    Credentials credentials(random, test::TestWallSeconds);
    // The random source counts up from 1, so an input can hold this token.
    const std::string token = credentials.CreateSession();
    Check(token == "0102030405060708090a0b0c0d0e0f10", "the token is known to the corpus");
    // As a header's value the text is one line, without blanks before it.
    if (header.find_first_of("\r\n\t") == std::string::npos) {
        const test::HeaderText headers{{"cookie", header}};
        Check(credentials.IsSessionValid(headers) == (value == token),
              "only the whole token is a session");
    }
    return 0;
}
