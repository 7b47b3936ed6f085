// What a client asks a web server.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// One request that has arrived whole.
struct WebRequest {
    std::string method;
    std::string target; ///< path and query, as sent
    std::string path;   ///< without the query
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    bool keepsConnection = true; ///< whether the client wants to ask more

    /// The first header of that name in any case; empty where there is none.
    std::string header(const std::string& name) const;
};

} // namespace hastool
