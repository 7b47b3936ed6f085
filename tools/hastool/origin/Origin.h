// A web server in the tool itself.
#pragma once

#include "FaultRules.h"
#include "RateProfile.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// What an origin serves and how.
struct OriginOptions {
    std::filesystem::path root;
    uint16_t port = 0; ///< 0 for a free one
    std::optional<RateProfile> profile;
    std::vector<std::string> faults; ///< see FaultRules
    /// Is told of every fault that a request met, on the connection's thread.
    std::function<void(const std::string& path, const Fault& fault)> onFault;
};

/// Serves a folder on 127.0.0.1 from construction to stop(): HTTP/1.1 with single ranges,
/// conditional requests, pages for folders and connections that stay, each on a thread of its own.
/// The profile holds for all of them together and begins with the first answer.
class Origin {
public:
    /// @throws ToolError for a folder that is none, a rule that is none, and a port that is taken
    explicit Origin(OriginOptions options);
    ~Origin();
    Origin(const Origin&) = delete;
    Origin& operator=(const Origin&) = delete;

    uint16_t port() const;
    /// @param path  decoded, from the root: "/hls/master.m3u8"
    std::string url(const std::string& path) const;
    /// URLs of the presentations that are there.
    std::vector<std::string> presentations() const;

    /// Ends all connections, whatever they wait for.
    void stop();

private:
    class Server;

    std::unique_ptr<Server> m_server;
};

} // namespace hastool
