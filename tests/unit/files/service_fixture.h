// The file endpoints over a file system in memory, with replies and log lines as text.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "files/checked_files.h"
#include "files/file_service.h"
#include "support/fake_file_system.h"
#include "support/fake_stream.h"
#include "support/header_text.h"
#include "support/log_text.h"
#include "support/reply_text.h"
#include "support/test_clock.h"

namespace harbinet::test {

class FileServiceTest : public ::testing::Test {
protected:
    FileServiceTest() { files.AddFolder(L"D:\\Share"); }

    // Runs `handler` on a request for `target` whose body has been announced and arrives as far as
    // `sent` says. The whole reply without its date
    // line; empty when nothing was sent.
    template <typename Handler>
    std::string Serve(Handler handler, std::string_view target, const HeaderText& headers = {},
                      std::string sent = {}, std::size_t bytes_per_read = SIZE_MAX) {
        FakeStream stream(std::move(sent), bytes_per_read);
        return Serve(handler, target, headers, stream);
    }

    template <typename Handler>
    std::string Serve(Handler handler, std::string_view target, const HeaderText& headers,
                      FakeStream& stream) {
        HttpRequest request;
        request.target = target;
        request.headers = headers;
        SplitTarget(request);
        const std::string client_ip = "10.0.0.7";
        Exchange exchange{stream, request, client_ip};
        handler(services, exchange);
        return stream.output.empty() ? "" : WithoutDate(stream.output);
    }

    // A POST with a JSON body that arrives whole.
    template <typename Handler>
    std::string Post(Handler handler, std::string_view target, std::string body) {
        const std::string length = std::to_string(body.size());
        return Serve(handler, target, {{"content-length", length}}, std::move(body));
    }

    // The log's messages without their time stamps.
    std::vector<std::wstring> Logged() const { return Messages(log); }

    static std::string Reply(std::string_view status, std::string_view type, std::string_view body,
                             std::string_view extra = {}) {
        return ReplyText(status, type, std::to_string(body.size()), body, extra);
    }
    static std::string Json(std::string_view status, std::string_view body) {
        return Reply(status, "application/json; charset=utf-8", body);
    }
    static std::string Text(std::string_view status, std::string_view body) {
        return Reply(status, "text/plain; charset=utf-8", body);
    }
    static std::string Attachment(std::string_view name, std::string_view body) {
        return Reply("200 OK", "application/octet-stream", body,
                     "Content-Disposition: attachment; filename=\"" + std::string(name) + "\"\r\n");
    }

    FakeFileSystem files;
    CheckedFiles checked_files{files};  // as in the program
    WebRoot web_root{L"D:\\Share"};
    EventLog log{FixedLocalTime};
    FileServices services{checked_files, web_root, log};
};

}  // namespace harbinet::test
