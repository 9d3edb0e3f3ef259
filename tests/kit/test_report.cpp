#include "test_report.h"

#include <iterator>
#include <utility>

namespace harbinet::kit {
namespace {

std::string Unescape(std::string_view text) {
    static constexpr std::pair<std::string_view, char> kEntities[] = {
        {"&lt;", '<'},    {"&gt;", '>'},    {"&amp;", '&'},   {"&quot;", '"'},
        {"&apos;", '\''}, {"&#x0A;", '\n'}, {"&#x0D;", '\r'}, {"&#x09;", '\t'},
    };
    std::string plain;
    while (!text.empty()) {
        std::size_t length = 1;
        char character = text[0];
        for (const auto& [entity, meaning] : kEntities) {
            if (!text.starts_with(entity)) continue;
            length = entity.size();
            character = meaning;
        }
        plain += character;
        text.remove_prefix(length);
    }
    return plain;
}

// The value of an attribute in the text of an opening tag.
std::string Attribute(std::string_view tag, std::string_view name) {
    std::string begin(1, ' ');
    begin.append(name).append("=\"");
    const std::size_t start = tag.find(begin);
    if (start == std::string_view::npos) return {};
    tag.remove_prefix(start + begin.size());
    return Unescape(tag.substr(0, tag.find('"')));
}

// GoogleTest puts the place in the source before the reason, on a line of its own.
std::string Reason(std::string message) {
    const std::size_t line_end = message.find('\n');
    if (line_end != std::string::npos) message.erase(0, line_end + 1);
    return message;
}

}  // namespace

TestReport ReadTestReport(std::string_view xml) {
    TestReport report;
    if (xml.find("</testsuites>") == std::string_view::npos) return report;
    constexpr std::string_view kCase = "<testcase ";
    for (std::size_t at = xml.find(kCase); at != std::string_view::npos;) {
        const std::size_t next = xml.find(kCase, at + 1);
        const std::string_view element = xml.substr(at, next - at);
        const std::string_view tag = element.substr(0, element.find('>'));
        at = next;
        const std::string name = Attribute(tag, "classname") + "." + Attribute(tag, "name");
        const std::string result = Attribute(tag, "result");
        if (element.find("<failure ") != std::string_view::npos) {
            report.failed.push_back(name);
        } else if (result == "skipped") {
            const std::size_t why = element.find("<skipped ");
            const std::string_view skipped =
                why == std::string_view::npos ? std::string_view() : element.substr(why);
            report.skipped.push_back({name, Reason(Attribute(skipped, "message"))});
        } else if (result == "completed") {
            ++report.passed;
        }
    }
    return report;
}

}  // namespace harbinet::kit
