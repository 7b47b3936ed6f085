// What a player sees of a presentation, whatever its format.
#pragma once

#include "TimedEvent.h"
#include <hastool/base/TimeSource.h>
#include <hastool/net/AesKey.h>
#include <hastool/net/ByteRange.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// One quality of the presentation.
struct StreamInfo {
    int bitrate = 0;   ///< bits per second; 0 when not known
    std::string label; ///< "640x360", or empty
};

/// Streams of which one is played at a time.
struct TrackInfo {
    bool isAudio = false;            ///< the audio track beside the main one
    std::vector<StreamInfo> streams; ///< in ascending order of bitrate, at least one
    bool isText = false;             ///< subtitles
    std::string language;            ///< as written; empty when not known
};

/// One content protection descriptor.
struct ProtectionDescriptor {
    std::string schemeId;
    std::string value;
    std::string defaultKid; ///< as written
    std::string pssh;       ///< what goes into a pssh box, in base64; empty when not known
};

/// What a DRM handler has to know of a protected piece.
struct Protection {
    int period = 0;
    int representation = 0;
    bool isAudio = false;
    bool isSeparate = false; ///< audio and video do not come multiplexed
    std::vector<ProtectionDescriptor> descriptors;
};

/// What a resource is encrypted with: AES-128-CBC over all of it, with PKCS#7 padding.
struct Encryption {
    std::string keyUrl; ///< where the 16 bytes of the key are
    AesBytes iv{};

    bool operator==(const Encryption& other) const {
        return keyUrl == other.keyUrl && iv == other.iv;
    }
};

/// A resource to fetch and to decrypt.
struct MediaPart {
    Resource resource;
    std::optional<Encryption> encryption; ///< nothing where it is clear

    bool operator==(const MediaPart& other) const {
        return resource == other.resource && encryption == other.encryption;
    }
};

/// One stretch of media to fetch.
struct MediaPiece {
    MediaPart media;
    std::optional<MediaPart> init; ///< what the media cannot be decoded without
    /// Makes the initialisation from the media, for a format that has none to fetch; else null.
    std::function<std::string(std::string_view media)> makeInit;
    uint64_t index = 0; ///< its number in the stream
    double seconds = 0;
    double start = 0; ///< seconds since the presentation began, as far as known
    /// Seconds to add to the times in the media to have those of the presentation. Nothing where
    /// only the tracks' common clock tells.
    std::optional<double> timeOffset;
    bool discontinuity = false;
    std::optional<double> dateTime; ///< seconds since the epoch that it begins at
    enum class Advertisement { None, Begins, Ends };
    Advertisement advertisement = Advertisement::None; ///< before it
    std::shared_ptr<const Protection> protection;      ///< null when it is clear
    bool missing = false; ///< the presentation itself says that there is nothing to fetch
    uint64_t lost = 0;    ///< pieces before it that are no longer to be had
    double growsFor = 0;  ///< seconds until its server has made all of it; it comes meanwhile
};

/// What comes next.
struct NextPiece {
    enum class Kind { Piece, Wait, End };
    Kind kind = Kind::End;
    MediaPiece piece;
    std::chrono::milliseconds wait{0}; ///< before asking again
};

/// The most warnings that one presentation gives: more of them say nothing new.
constexpr size_t kMaxWarnings = 100;

/// The most events that wait for takeEvents(): no presentation has so many at a time.
constexpr size_t kMaxAnnounced = 20000;

/// The largest manifest that is read; that of a long live recording has a few megabytes.
constexpr size_t kMaxManifestBytes = 64u << 20;

/// A manifest that was fetched.
struct Document {
    std::string text;
    std::string url; ///< after all redirects; the URLs in the manifest are relative to this one
};

/// Thrown by a fetch function for a document that it does not have yet: whoever called the
/// presentation fetches the document, and makes the call again. It is no failure, and nothing
/// between the two catches it.
struct DocumentWanted {
    Resource resource;
    size_t limit = kMaxManifestBytes; ///< of its size
};

/// Fetches a manifest or an index.
///
/// It may throw DocumentWanted, which then leaves openPresentation() and Presentation::next() as if
/// they had not been called: called again, they ask for the same documents in the same order. So
/// their caller keeps what it has fetched until the call has returned.
/// @throws ToolError when a document cannot be had
using FetchDocument = std::function<Document(const Resource& resource)>;

/// A presentation that is being read from begin to end, track by track and piece by piece.
class Presentation {
public:
    virtual ~Presentation() = default;

    /// At least one track; the first has the video, if there is any, and the qualities to choose
    /// from. Subtitles, if they are played, are the last. Does not change.
    virtual const std::vector<TrackInfo>& tracks() const = 0;
    /// Whether pieces are still being added.
    virtual bool isLive() const = 0;
    /// Up to where a live presentation has media by now, on the scale of MediaPiece::start; nothing
    /// for others, and while that is not known.
    virtual std::optional<double> liveEdge() const { return std::nullopt; }
    /// Whether it is read at low latency: by pieces that are shorter than segments, or still grow.
    virtual bool isLowLatency() const { return false; }
    /// Whether the last piece of a track was the begin of a segment whose rest is to come: the
    /// stream cannot be changed there.
    virtual bool isInside(size_t) const { return false; }
    /// Takes the warnings since the last call, in the order they came up: what the user should know
    /// though the presentation goes on. Each is given once.
    std::vector<std::string> takeWarnings();
    /// Takes the events that were announced since the last call. One may come again, with more
    /// known of it.
    std::vector<TimedEvent> takeEvents();
    /// The next piece of a track, from the stream that the caller chooses; every call moves the
    /// track on by a piece. May fetch documents, see FetchDocument. @throws ToolError when the
    /// presentation cannot go on
    virtual NextPiece next(size_t track, size_t stream) = 0;
    /// The last piece of a track again, from another stream, in place of the one that next() gave;
    /// next() then goes on behind it. Where what comes is no piece, and after an exception, it can
    /// be called again. Not to be called before the first piece, or for a part of a segment, see
    /// isInside(). @throws ToolError, DocumentWanted as next()
    virtual NextPiece again(size_t track, size_t stream) = 0;
    /// The bytes of a track's next piece in each stream; empty where they are not known, or not
    /// without fetching anything.
    virtual std::vector<uint64_t> nextSizes(size_t) const { return {}; }

protected:
    /// Keeps a warning for takeWarnings(), unless the same text was given before.
    void warn(const std::string& what);
    /// Keeps an event for takeEvents(); when too many wait, it is dropped.
    void announce(TimedEvent event);

private:
    std::vector<TimedEvent> m_events;
    std::vector<std::string> m_warnings;
    std::set<std::string> m_told;
};

} // namespace hastool
