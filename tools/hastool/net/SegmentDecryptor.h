// Decryption of a segment while it comes in.
#pragma once

#include "AesKey.h"
#include <hastool/base/ByteSink.h>

#include <Hascommon/Linux/CAes.h>

#include <string>
#include <vector>

namespace hastool {

/// Decrypts AES-128-CBC chunk by chunk and hands the plain text on.
class SegmentDecryptor : public ByteSink {
public:
    /// @param padding  whether PKCS#7 padding stands at the end, to be taken off
    /// @param plain    receives the plain text, borrowed
    SegmentDecryptor(AesBytes key, AesBytes iv, bool padding, ByteSink& plain);

    bool write(const unsigned char* data, size_t size) override;
    /// Hands on what is left. @return false where the end is not right; failure() then says why
    bool finish();
    std::string failure() const override { return m_failure; }

private:
    bool decrypt(const unsigned char* data, size_t size);
    bool handOn(const unsigned char* data, int size);
    bool fail(const std::string& what);

    hascommon::aes::Decrypt m_decrypt;
    const bool m_padding;
    ByteSink& m_plain;
    std::vector<unsigned char> m_room; ///< for the plain text of one piece
    uint64_t m_size = 0;               ///< of the cipher text so far
    std::string m_failure;
};

} // namespace hastool
