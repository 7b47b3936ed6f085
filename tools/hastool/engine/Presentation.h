// What a player sees of a presentation, whatever its format.
#pragma once

#include "AesKey.h"
#include "ByteRange.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One quality of the presentation.
struct StreamInfo {
    int bitrate = 0;   ///< bits per second; 0 when not known
    std::string label; ///< "640x360", or empty
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
    uint64_t index = 0;            ///< its number in the stream
    double seconds = 0;
    bool discontinuity = false;
    bool missing = false; ///< the presentation itself says that there is nothing to fetch
    uint64_t lost = 0;    ///< pieces before it that are no longer to be had
};

/// What comes next.
struct NextPiece {
    enum class Kind { Piece, Wait, End };
    Kind kind = Kind::End;
    MediaPiece piece;
    std::chrono::milliseconds wait{0}; ///< before asking again
};

/// The most that a manifest may come to; a long live recording has a few megabytes.
constexpr size_t kMaxManifestBytes = 64u << 20;

/// A manifest that was fetched.
struct Document {
    std::string text;
    std::string url; ///< behind all redirects; what it names is relative to this
};

/// Fetches a manifest. @throws ToolError when that fails
using FetchDocument = std::function<Document(const std::string& url)>;

/// A presentation that is being read from begin to end, one piece at a time.
class Presentation {
public:
    virtual ~Presentation() = default;

    /// The qualities in ascending order of bitrate, at least one.
    virtual const std::vector<StreamInfo>& streams() const = 0;
    /// Whether pieces are still being added.
    virtual bool isLive() const = 0;
    /// The next piece, of a stream of the caller's choice; every call moves on by a piece. May
    /// fetch manifests. @throws ToolError when the presentation cannot go on
    virtual NextPiece next(size_t stream) = 0;
};

/// Opens the presentation at a URL by what its manifest is. @throws ToolError for one that is
/// neither known nor playable
/// @param liveTimeout  how long a live presentation may stay without anything new
std::unique_ptr<Presentation> openPresentation(const std::string& url, const FetchDocument& fetch,
                                               std::chrono::milliseconds liveTimeout);

} // namespace hastool
