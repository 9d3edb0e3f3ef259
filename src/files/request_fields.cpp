#include "files/request_fields.h"

#include "app/encoding.h"
#include "http/json.h"
#include "http/response.h"

namespace harbinet {

std::wstring WideQueryParam(const HttpRequest& request, std::string_view name) {
    return Utf8ToWide(UrlDecode(GetQueryParam(request.query, name)));
}

void ReadJsonBody(Exchange& exchange, std::uint64_t max_bytes, const BodyLimits& limits) {
    if (ContentLength(exchange.request.headers) > max_bytes) {
        exchange.request.body.clear();
        return;
    }
    ReadBody(exchange.stream, exchange.request, max_bytes, limits);
    if (exchange.stream.HasTimedOut()) exchange.request.body.clear();
}

void ReplyOk(Stream& stream, std::string_view members) {
    SendOkBytes(stream, kJsonType, JsonOk(members));
}

void ReplyError(Stream& stream, int status, std::string_view message) {
    SendJsonError(stream, status, JsonError(message));
}

}  // namespace harbinet
