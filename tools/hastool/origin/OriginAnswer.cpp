#include "OriginAnswer.h"

#include <sstream>

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/write.hpp>

namespace hastool {

namespace http = boost::beast::http;

void OriginAnswer::setBody(const std::string& text, const std::string& type) {
    body = text;
    headers.emplace_back("Content-Type", type);
}

uint64_t OriginAnswer::bodyLength() const {
    if (paced)
        return paced->size();
    return file ? length : body.size();
}

std::string OriginAnswer::head(const WebRequest& request) const {
    http::response<http::empty_body> response;
    response.result(static_cast<unsigned>(status));
    response.set("Access-Control-Allow-Origin", "*");
    response.set("Access-Control-Expose-Headers", "*");
    response.set("Accept-Ranges", "bytes");
    for (const auto& [name, value] : headers)
        response.set(name, value);
    const bool hasBody = status != 204 && status != 304; // RFC 9110, 8.6
    if (isChunked())
        response.chunked(true);
    else if (hasBody)
        response.content_length(bodyLength());
    response.keep_alive(request.keepsConnection);
    std::ostringstream text;
    text << response.base();
    return text.str();
}

} // namespace hastool
