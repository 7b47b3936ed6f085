// What the copies of a decryptor share.
#pragma once

#include <atomic>
#include <memory>

#include <openssl/types.h>

namespace hascommon::detail {

/// The state of one AES-128-CBC stream, and how many share it. Allocates in create() only; bytes
/// that tell anything of the key are wiped when the stream ends and when the block dies.
class AesBlock {
public:
    static constexpr unsigned int kBlockSize = 16;

    /// A block with one share; null for lack of memory.
    static AesBlock* create();
    /// Takes one more share.
    AesBlock* share();
    /// Gives a share up; the last one takes the block with it.
    static void giveUp(AesBlock* block);

    AesBlock(const AesBlock&) = delete;
    AesBlock& operator=(const AesBlock&) = delete;

    /// Begins a stream. @return false where OpenSSL fails
    bool begin(const unsigned char* key, const unsigned char* iv, bool padding);
    /// Decrypts the whole blocks of what is carried and `size` further bytes (at least one), and
    /// carries the rest.
    /// @param out  receives them, with the bytes from before a failure
    /// @return false where OpenSSL fails or cannot be called
    bool feed(const unsigned char* in, unsigned int size, unsigned char* out, int& produced);
    /// Puts what is left of the stream into the final buffer and wipes the key.
    /// @return false where OpenSSL fails
    bool end(int& produced);

    unsigned int carried() const { return m_carried; }
    unsigned char* finalBuffer() { return m_final; }

private:
    struct FreeContext {
        void operator()(EVP_CIPHER_CTX* context) const;
    };

    AesBlock();
    ~AesBlock();
    bool completeBlock(const unsigned char*& in, unsigned int& size, unsigned char* out,
                       int& produced);
    void carry(const unsigned char* in, unsigned int size);
    bool update(const unsigned char* in, unsigned int size, unsigned char* out, int& produced);

    std::unique_ptr<EVP_CIPHER_CTX, FreeContext> m_context; ///< null when it could not be set up
    unsigned char m_carry[2 * kBlockSize] = {};
    unsigned int m_carried = 0; ///< less than a block between calls
    unsigned char m_final[2 * kBlockSize] = {};
    bool m_hasKey = false;
    std::atomic<unsigned int> m_shares{1};
};

} // namespace hascommon::detail
