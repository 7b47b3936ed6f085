// A part of a piece on its way.
#pragma once

#include "ChunkSink.h"
#include "DocumentDesk.h"
#include "PacedTraffic.h"
#include <hastool/net/KeyStore.h>
#include <hastool/net/SegmentDecryptor.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace hastool {

/// Fetches an initialisation or a segment; what is encrypted as a whole is decrypted on its way.
class PartTransfer {
public:
    /// All are borrowed.
    PartTransfer(TransferSlot& slot, DocumentDesk& desk, KeyStore& keys)
        : m_slot(slot)
        , m_desk(desk)
        , m_keys(keys) {}

    bool hasBegun() const { return m_plain != nullptr; }
    /// Watches the chunks of the next part, which comes while it is made. To be called before
    /// begin(). @param traffic  borrowed
    void watch(InitTracks tracks, PacedTraffic& traffic);
    /// The chunks of the part that has begun; null where they are not watched.
    const ChunkSink* chunks() const { return m_chunks.get(); }
    /// Begins to fetch a part.
    /// @param index  the segment's number, for messages
    /// @throws DocumentWanted for its key, which has to come first; ToolError for a key that cannot
    ///         be had, as the segments that follow need it too
    void begin(const MediaPart& part, uint64_t index, size_t limit);
    /// Takes the bytes, once the slot's transfer has ended.
    /// @throws ToolError for a part that was fetched but cannot be decrypted
    Outcome finish(std::string& bytes);

private:
    TransferSlot& m_slot;
    DocumentDesk& m_desk;
    KeyStore& m_keys;
    std::string m_url;
    std::string m_name;                 ///< for messages
    std::optional<InitTracks> m_tracks; ///< of the part to be watched
    PacedTraffic* m_traffic = nullptr;  ///< set with m_tracks
    std::unique_ptr<MemorySink> m_plain;
    std::unique_ptr<ChunkSink> m_chunks; ///< writes to m_plain; null where it is not watched
    std::unique_ptr<SegmentDecryptor> m_decryptor; ///< null where the part is clear
};

} // namespace hastool
