#include "PartTransfer.h"

#include <hastool/base/ToolError.h>

#include <utility>

namespace hastool {

void PartTransfer::begin(const MediaPart& part, uint64_t index, size_t limit) {
    m_url = part.resource.url;
    m_name = "segment " + std::to_string(index);
    auto plain = std::make_unique<MemorySink>(limit);
    std::unique_ptr<ChunkSink> chunks;
    if (m_tracks)
        chunks = std::make_unique<ChunkSink>(*plain, *m_tracks,
                                             [traffic = m_traffic] { traffic->waited(); });
    ByteSink& sink = chunks ? static_cast<ByteSink&>(*chunks) : *plain;
    m_decryptor.reset();
    if (part.encryption) {
        const AesBytes& key = m_keys.get(part.encryption->keyUrl, m_name);
        m_desk.release(m_slot);
        m_decryptor = std::make_unique<SegmentDecryptor>(key, part.encryption->iv, true, sink);
    }
    m_plain = std::move(plain);
    m_chunks = std::move(chunks);
    if (m_chunks)
        m_traffic->begin();
    m_slot.begin(part.resource, m_decryptor ? static_cast<ByteSink&>(*m_decryptor) : sink);
}

void PartTransfer::watch(InitTracks tracks, PacedTraffic& traffic) {
    m_tracks = std::move(tracks);
    m_traffic = &traffic;
}

Outcome PartTransfer::finish(std::string& bytes) {
    Outcome outcome = m_slot.take();
    const auto plain = std::move(m_plain);
    m_tracks.reset();
    if (const auto chunks = std::move(m_chunks))
        m_traffic->end();
    if (m_decryptor && outcome.ok && !m_decryptor->finish())
        throw ToolError(m_url, m_name + " cannot be decrypted: " + m_decryptor->failure());
    bytes = std::move(plain->bytes());
    return outcome;
}

} // namespace hastool
