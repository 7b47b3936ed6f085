#include "MediaWriter.h"

#include <hastool/media/IndexMender.h>

namespace hastool {

MediaWriter::MediaWriter(const std::string& path) {
    if (!path.empty())
        m_file.emplace(path, OutputFile::Mode::Replace);
}

void MediaWriter::setInit(const std::string& init) {
    if (init == m_init)
        return;
    m_init = init;
    m_initIsDue = !init.empty();
}

void MediaWriter::write(const std::string& media) {
    if (!m_file)
        return;
    if (m_initIsDue) {
        m_joiner.setInit(m_init);
        m_file->write(withIndexesMended(m_init, m_init));
        m_initIsDue = false;
    }
    if (m_init.empty())
        m_file->write(media);
    else
        m_file->write(m_joiner.adapt(withIndexesMended(media, media)));
    m_hasMedia = true;
}

void MediaWriter::commit() {
    if (m_file && m_hasMedia)
        m_file->commit();
}

} // namespace hastool
