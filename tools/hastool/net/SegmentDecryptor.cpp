#include "SegmentDecryptor.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kPiece = 64u << 10; // a chunk of the download engine is smaller
constexpr size_t kBlock = 16;

} // namespace

SegmentDecryptor::SegmentDecryptor(AesBytes key, AesBytes iv, bool padding, ByteSink& plain)
    : m_padding(padding)
    , m_plain(plain)
    , m_room(kPiece + kBlock) {
    if (m_decrypt.Init(key.data(), iv.data(), padding) != 1)
        fail("AES-128 is not to be had");
}

bool SegmentDecryptor::write(const unsigned char* data, size_t size) {
    while (size > 0) {
        const size_t piece = std::min(size, kPiece);
        if (!decrypt(data, piece))
            return false;
        data += piece;
        size -= piece;
    }
    return true;
}

bool SegmentDecryptor::decrypt(const unsigned char* data, size_t size) {
    if (!m_failure.empty())
        return false;
    // The library takes a pointer to non-const bytes, but only reads them.
    auto* const in = const_cast<unsigned char*>(data);
    const int plain = m_decrypt.Do(in, static_cast<unsigned int>(size), m_room.data());
    m_size += size;
    return plain < 0 ? fail("decryption failed") : handOn(m_room.data(), plain);
}

bool SegmentDecryptor::finish() {
    if (!m_failure.empty())
        return false;
    if (m_size % kBlock != 0)
        return fail("cut short or not encrypted: " + std::to_string(m_size) +
                    " bytes are no whole blocks of 16");
    if (m_size == 0 && m_padding)
        return fail("empty, without even the padding");
    const int plain = m_decrypt.Final();
    return plain < 0 ? fail("bad padding: wrong key or initialisation vector, or damaged data")
                     : handOn(m_decrypt.GetFinalBuffer(), plain);
}

bool SegmentDecryptor::handOn(const unsigned char* data, int size) {
    if (size == 0 || m_plain.write(data, static_cast<size_t>(size)))
        return true;
    return fail(m_plain.failure());
}

bool SegmentDecryptor::fail(const std::string& what) {
    m_failure = what;
    return false;
}

} // namespace hastool
