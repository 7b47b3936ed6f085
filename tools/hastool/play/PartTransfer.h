// A part of a piece on its way.
#pragma once

#include "DocumentDesk.h"
#include <hastool/net/KeyStore.h>
#include <hastool/net/SegmentDecryptor.h>

#include <cstdint>
#include <memory>
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
    std::string m_name; ///< for messages
    std::unique_ptr<MemorySink> m_plain;
    std::unique_ptr<SegmentDecryptor> m_decryptor; ///< null where the part is clear
};

} // namespace hastool
