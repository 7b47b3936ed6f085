/// @file
/// Streaming decryption of AES-128-CBC.
#pragma once

#include <Hascommon/Export.h>

#include <memory>

namespace hascommon::detail {
class AesBlock;
}

namespace hascommon::aes {

/// Decrypts AES-128 in CBC mode (NIST FIPS 197, SP 800-38A), with or without PKCS#7 padding
/// (RFC 5652, 6.3), from chunks of any length as they arrive from the network: whole segments of
/// HLS with METHOD=AES-128 (RFC 8216, 4.3.2.4).
///
/// **Order of calls.** Init(), then Do() any number of times, then Final(), then read as many bytes
/// from GetFinalBuffer() as Final() told. The next segment begins with Init() again, on the same
/// object. Do() and Final() without an Init() before them fail.
///
/// **Copies.** A copy made by the copy constructor shares everything but the last error code: the
/// key, the position in the stream, the carried bytes and the final buffer, so feeding one feeds
/// both. What they share lives until the last of them is gone. An object that is assigned to lets
/// go of what it had, its key included, and has to be given a key by Init(): the other's stream is
/// not taken over, not even by an object that is assigned to itself, which engines reckon with.
/// Only an object that could not be set up for lack of memory is set up by an assignment, which
/// makes it share.
///
/// **Memory.** All of it is taken by the constructor and by assignment. A call that succeeds
/// allocates nothing; one that fails lets OpenSSL note why in the thread's error queue.
///
/// **Keys.** The key is borrowed for the call of Init(). What is derived from it is wiped by
/// Final(), by the next Init(), and with the last object that shares it.
///
/// Thread safety: one thread at a time for an object and all its copies; the last shares may be
/// given up on different threads. The first object has OpenSSL load its error texts, which belong
/// to the process.
class HAS_API Decrypt {
public:
    /// An object that waits for Init(), with the last error code 0. For lack of memory Init()
    /// fails.
    Decrypt();
    /// Shares the other's stream.
    Decrypt(const Decrypt& other);
    /// Takes over the last error code alone and waits for Init().
    Decrypt& operator=(const Decrypt& other);
    ~Decrypt();

    /// Begins a stream: nothing is carried any more and the last error code is 0.
    /// @param key      16 bytes, read only. Without a key (null) this succeeds, and Do() fails
    /// @param iv       16 bytes, read only; null stands for zeros
    /// @param padding  whether the stream ends in padding, to be checked and taken off by Final()
    /// @return 1, or -1 where OpenSSL fails (last error code -11, logged)
    int Init(unsigned char* key, unsigned char* iv, bool padding);

    /// Decrypts the next chunk. Of a block that is not complete yet the bytes are kept for the next
    /// call; with padding on, the latest block is held back as well, as it may be the last.
    ///
    /// The areas must not overlap, not even where they begin at the same place: what was carried
    /// goes before the chunk's own bytes.
    /// @param in   cipher text, read only
    /// @param len  of any size; what no longer fits an int together with the carried bytes fails
    /// @param out  room for `len` + 16 bytes
    /// @return bytes written, 0 where all were kept, or -1 on failure (last error code -11,
    /// logged);
    ///         bytes that were written before the failure stay written
    int Do(unsigned char* in, unsigned int len, unsigned char* out);

    /// Ends the stream and wipes the key.
    ///
    /// Bytes that are still carried are dropped with a line in the log, and the end is judged
    /// without them.
    /// @return how many of the last block's bytes are in the final buffer: 0 to 15 with padding, 0
    ///         without; -1 on failure (last error code -11, logged), above all for padding that is
    ///         not right, as after a wrong key, or that is not there at all
    int Final();

    /// Where Final() leaves its bytes: 32 bytes of the object, good until the next Init(), until
    /// the object is assigned to, or until the last of its copies is gone. Null for lack of memory.
    unsigned char* GetFinalBuffer();

    /// Always 16, the block size, whatever is carried: callers make room by it.
    int GetUndecryptedData();

    /// 0, or -11 since an OpenSSL call failed. Only Init() sets it back.
    int GetLastErrorCode();

private:
    /// Gives up one share of a block.
    struct GiveUp {
        HAS_LOCAL void operator()(detail::AesBlock* block) const;
    };

    int lastErrorCode = 0;
    /// This object's share; a single pointer.
    std::unique_ptr<detail::AesBlock, GiveUp> m_block;
};

} // namespace hascommon::aes
