#include "PartTransfer.h"

#include <hastool/base/ToolError.h>

#include <utility>

namespace hastool {

void PartTransfer::begin(const MediaPart& part, uint64_t index, size_t limit) {
    m_url = part.resource.url;
    m_name = "segment " + std::to_string(index);
    auto plain = std::make_unique<MemorySink>(limit);
    m_decryptor.reset();
    if (part.encryption) {
        const AesBytes& key = m_keys.get(part.encryption->keyUrl, m_name);
        m_desk.release(m_slot);
        m_decryptor = std::make_unique<SegmentDecryptor>(key, part.encryption->iv, true, *plain);
    }
    m_plain = std::move(plain);
    m_slot.begin(part.resource, m_decryptor ? static_cast<ByteSink&>(*m_decryptor) : *m_plain);
}

Outcome PartTransfer::finish(std::string& bytes) {
    Outcome outcome = m_slot.take();
    const auto plain = std::move(m_plain);
    if (m_decryptor && outcome.ok && !m_decryptor->finish())
        throw ToolError(m_url, m_name + " cannot be decrypted: " + m_decryptor->failure());
    bytes = std::move(plain->bytes());
    return outcome;
}

} // namespace hastool
