// Feeds a decryptor as a download would.
#pragma once

#include <Hascommon/Linux/CAes.h>
#include <support/AesPeer.h>
#include <support/ExactBytes.h>

#include <algorithm>
#include <optional>

namespace test {

/// What came out of a stream.
struct Decrypted {
    Bytes bytes;      ///< of all calls
    int lastCall = 0; ///< result of the last Do() or Final()
    bool ok = false;  ///< no call failed
};

/// Begins a stream; the result of Init().
inline int init(hascommon::aes::Decrypt& decrypt, const AesSetting& setting) {
    const ExactBytes key(setting.key);
    const ExactBytes iv(setting.iv);
    return decrypt.Init(key.data(), iv.data(), setting.padding);
}

/// Feeds one chunk from a buffer of exactly its size into one of exactly the room that is asked
/// for, and keeps what was written. @return the result of Do()
inline int feed(hascommon::aes::Decrypt& decrypt, const Bytes& chunk, Bytes& out) {
    const ExactBytes in(chunk);
    const ExactBytes room(chunk.size() + 16);
    const int produced = decrypt.Do(in.data(), in.uintSize(), room.data());
    if (produced > 0)
        out.insert(out.end(), room.data(), room.data() + produced);
    return produced;
}

/// Ends the stream and keeps what it leaves. @return the result of Final()
inline int finish(hascommon::aes::Decrypt& decrypt, Bytes& out) {
    const int produced = decrypt.Final();
    if (produced > 0)
        out.insert(out.end(), decrypt.GetFinalBuffer(), decrypt.GetFinalBuffer() + produced);
    return produced;
}

/// A whole stream, fed in pieces of a size.
inline Decrypted decryptInPieces(hascommon::aes::Decrypt& decrypt, const AesSetting& setting,
                                 const Bytes& cipher, size_t piece) {
    Decrypted result;
    result.lastCall = init(decrypt, setting);
    for (size_t at = 0; at < cipher.size() && result.lastCall >= 0; at += piece) {
        const size_t end = std::min(at + piece, cipher.size());
        result.lastCall = feed(decrypt,
                               Bytes(cipher.begin() + static_cast<std::ptrdiff_t>(at),
                                     cipher.begin() + static_cast<std::ptrdiff_t>(end)),
                               result.bytes);
    }
    if (result.lastCall >= 0)
        result.lastCall = finish(decrypt, result.bytes);
    result.ok = result.lastCall >= 0;
    return result;
}

} // namespace test
