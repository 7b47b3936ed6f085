// The manifest of a DASH presentation, as it is now.
#pragma once

#include "DashManifest.h"
#include <hastool/base/TimeSource.h>
#include <hastool/formats/Presentation.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace hastool {

/// Holds the manifest, with the parts of it that are documents of their own, loads it again, and
/// knows the time by the server's clock. A load that fails leaves the manifest as it was.
class DashLoader {
public:
    using Clock = TimeSource::Steady;

    /// @throws ToolError for what is no manifest
    DashLoader(const Document& document, FetchDocument fetch, const TimeSource& time);

    const DashManifest& manifest() const { return m_manifest; }
    /// Where the manifest came from; the URLs in it are relative to this one.
    const std::string& url() const { return m_url; }

    /// When a dynamic manifest is to be loaded again; never where it does not say.
    std::optional<Clock::time_point> reloadDue() const;
    /// Loads the manifest again. @throws ToolError when that fails; the next try is then due after
    /// the usual interval
    void reload();

    /// Fetches anything beside the manifest.
    Document fetch(const Resource& resource) const { return m_fetch(resource); }
    /// The present as a time of the presentation, in seconds, by the server's clock.
    double liveTime() const;
    const TimeSource& clock() const { return m_clock; }

private:
    void take(const Document& document);
    std::string fetchRemote(const std::string& url);
    std::optional<double> clockOffset(const DashManifest& manifest, const std::string& url) const;
    std::optional<double> timeOf(const DashClock& clock, const std::string& url) const;

    FetchDocument m_fetch;
    TimeSource m_clock;
    std::string m_url;
    DashManifest m_manifest;
    Clock::time_point m_loadedAt;
    double m_clockOffset = 0;                     ///< seconds that the server is ahead
    std::map<std::string, std::string> m_remotes; ///< documents that hold parts of it, by URL
};

} // namespace hastool
