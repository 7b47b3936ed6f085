// A web server in the tool itself.
#pragma once

#include "FaultRules.h"
#include "LivePublisher.h"
#include "LiveTime.h"
#include "OriginAnswer.h"
#include "RateLimiter.h"
#include "RateProfile.h"
#include "ServedFolder.h"
#include "Validators.h"
#include "WebServer.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// What an origin serves and how.
struct OriginOptions {
    std::filesystem::path root;
    uint16_t port = 0; ///< 0 for a free one
    std::optional<RateProfile> profile;
    std::vector<std::string> faults; ///< see FaultRules
    /// Called for every fault that a request meets, on the connection's thread.
    std::function<void(const std::string& path, const Fault& fault)> onFault;
    std::optional<LiveOptions> live;    ///< publishes the presentations live; nothing: as they are
    std::shared_ptr<LiveTime> liveTime; ///< the clock that they go by; null for the machine's
};

/// Serves a folder on 127.0.0.1 from construction to stop(): HTTP/1.1 with single ranges,
/// conditional requests, pages for folders and connections that stay, each on a thread of its own.
/// The profile holds for all of them together and begins with the first answer.
class Origin {
public:
    /// @throws ToolError for a root that is no folder, a fault that is no rule, and a port that is
    ///         taken
    explicit Origin(OriginOptions options);
    ~Origin() { stop(); }
    Origin(const Origin&) = delete;
    Origin& operator=(const Origin&) = delete;

    uint16_t port() const { return m_server.port(); }
    /// @param path  decoded, from the root: "/hls/master.m3u8"
    std::string url(const std::string& path) const;
    /// URLs of the presentations in the folder.
    std::vector<std::string> presentations() const;
    /// Which presentations could not be published live, and why; a line each.
    std::vector<std::string> problems() const;

    /// Ends all connections, also those that wait for something.
    void stop();

private:
    void serve(WebConnection& connection);
    OriginAnswer answer(const WebRequest& request);
    std::optional<Fault> faultOf(const WebRequest& request, const std::string& path,
                                 const std::optional<std::filesystem::path>& file);
    OriginAnswer folder(const std::string& path) const;
    OriginAnswer file(const WebRequest& request, const std::filesystem::path& file,
                      const std::optional<Fault>& fault);
    static bool judge(const WebRequest& request, const Validators& validators,
                      OriginAnswer& answer);
    bool send(WebConnection& connection, const WebRequest& request, OriginAnswer& answer);
    bool sendPaced(WebConnection& connection, OriginAnswer& answer);
    bool sendAtRate(WebConnection& connection, std::string_view bytes);

    const ServedFolder m_folder;
    FaultRules m_faults;
    const std::function<void(const std::string&, const Fault&)> m_onFault;
    RateLimiter m_limiter;
    const std::shared_ptr<LiveTime> m_liveTime;
    const std::unique_ptr<LivePublisher> m_live; ///< null when nothing is published live
    WebServer m_server;
};

} // namespace hastool
