// Fetches what a play needs.
#pragma once

#include "ProtectedContent.h"
#include <hastool/formats/Presentation.h>
#include <hastool/net/Downloader.h>
#include <hastool/net/KeyStore.h>

#include <cstdint>
#include <functional>
#include <string>

namespace hastool {

/// Fetches manifests, initialisations and segments one after the other; what is encrypted as a
/// whole is decrypted on its way, what is protected goes through its DRM handler.
class PieceFetcher {
public:
    /// @param traffic  observes the engine's traffic, borrowed
    /// @param tick     is called every few milliseconds while something is fetched
    PieceFetcher(EngineOptions options, hascommon::IDownloadEvent& traffic,
                 std::function<void()> tick);

    /// Sets what is told of repetitions, with the name of what is fetched: "7.ts: retry 3 of 20,
    /// HTTP 404".
    void onRetry(std::function<void(const std::string& what)> hook);

    /// @throws ToolError when it cannot be had
    Document document(const Resource& resource);
    /// @param index  the segment's number, for messages
    /// @throws ToolError for what was fetched and cannot be decrypted, or for a key that cannot be
    ///         had: the segments behind it would not fare better
    Outcome segment(const MediaPart& part, uint64_t index, std::string& bytes);
    /// The same for an initialisation.
    Outcome init(const MediaPart& part, uint64_t index, std::string& bytes);
    /// Passes bytes of a protected piece through the handler; others are left as they are.
    /// @throws ToolError when there is no handler, or it refuses them
    void rewrite(const MediaPiece& piece, const MediaPart& part, std::string& bytes);

    /// Holds transfers, or lets them go on.
    void hold(bool held);
    bool isHeld() const { return m_downloader.isPaused(); }

    uint64_t downloads() const { return m_downloads; }
    uint64_t retries() const { return m_retries; }

private:
    Outcome fetchPart(const MediaPart& part, uint64_t index, size_t limit, std::string& bytes);
    Outcome decrypt(const MediaPart& part, const std::string& name, size_t limit,
                    std::string& bytes);
    Outcome fetch(const Resource& resource, size_t limit, std::string& bytes);
    Outcome fetchInto(const Resource& resource, ByteSink& sink);

    std::function<void()> m_tick;
    std::string m_fetching; ///< the name of what is being fetched
    Downloader m_downloader;
    KeyStore m_keys;
    ProtectedContent m_protected;
    uint64_t m_downloads = 0;
    uint64_t m_retries = 0;
};

} // namespace hastool
