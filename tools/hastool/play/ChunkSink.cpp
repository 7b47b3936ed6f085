#include "ChunkSink.h"

#include <hastool/base/BoxView.h>
#include <hastool/media/FragmentRun.h>

namespace hastool {
namespace {

/// Whether a box says how long it is, rather than that it goes on to the end.
bool isSized(std::string_view bytes) {
    return ByteReader(bytes).number(4).value_or(1) != 0;
}

} // namespace

bool ChunkSink::write(const unsigned char* data, size_t size) {
    if (m_target.bytes().size() == m_scanned && !m_isInFragment && !m_isEndless)
        m_onWait();
    if (!m_target.write(data, size))
        return false;
    scan();
    return true;
}

void ChunkSink::scan() {
    std::string_view rest = m_target.bytes();
    rest.remove_prefix(m_scanned);
    while (!rest.empty() && !m_isEndless) {
        m_isEndless = !isSized(rest);
        const auto box = m_isEndless ? std::nullopt : takeBox(rest);
        if (!box)
            return;
        m_scanned += box->whole.size();
        if (box->type == "moof") {
            m_fragment = fragmentSeconds(box->content, m_tracks);
            m_isInFragment = true;
        } else if (box->type == "mdat" && m_isInFragment) {
            m_isInFragment = false;
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_arrived.bytes = m_scanned;
            m_arrived.seconds += m_fragment;
        }
    }
}

ChunkSink::Arrived ChunkSink::arrived() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_arrived;
}

} // namespace hastool
