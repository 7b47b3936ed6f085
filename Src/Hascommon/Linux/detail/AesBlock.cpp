#include <Hascommon/Linux/detail/AesBlock.h>

#include <climits>
#include <cstring>
#include <new>

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace hascommon::detail {
namespace {

constexpr unsigned char kZeros[AesBlock::kBlockSize] = {};

/// A context that holds the cipher, so that setting a key allocates nothing; null on failure.
EVP_CIPHER_CTX* makeContext() {
    OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    if (context == nullptr ||
        EVP_DecryptInit_ex(context, EVP_aes_128_cbc(), nullptr, nullptr, nullptr) == 1)
        return context;
    EVP_CIPHER_CTX_free(context);
    return nullptr;
}

} // namespace

void AesBlock::FreeContext::operator()(EVP_CIPHER_CTX* context) const {
    EVP_CIPHER_CTX_free(context); // wipes the key
}

AesBlock::AesBlock()
    : m_context(makeContext()) {}

AesBlock::~AesBlock() {
    OPENSSL_cleanse(m_carry, sizeof m_carry);
    OPENSSL_cleanse(m_final, sizeof m_final);
}

AesBlock* AesBlock::create() {
    return new (std::nothrow) AesBlock;
}

AesBlock* AesBlock::share() {
    ++m_shares;
    return this;
}

void AesBlock::giveUp(AesBlock* block) {
    if (--block->m_shares == 0)
        delete block;
}

bool AesBlock::begin(const unsigned char* key, const unsigned char* iv, bool padding) {
    m_carried = 0;
    m_hasKey = false;
    OPENSSL_cleanse(m_final, sizeof m_final);
    // Both are always set: the context would go on with those of the stream before.
    if (m_context == nullptr ||
        EVP_DecryptInit_ex(m_context.get(), nullptr, nullptr, key != nullptr ? key : kZeros,
                           iv != nullptr ? iv : kZeros) != 1)
        return false;
    EVP_CIPHER_CTX_set_padding(m_context.get(), padding ? 1 : 0);
    m_hasKey = key != nullptr;
    return true;
}

bool AesBlock::feed(const unsigned char* in, unsigned int size, unsigned char* out, int& produced) {
    produced = 0;
    // OpenSSL counts in int, and so does the result.
    if (in == nullptr || size > static_cast<unsigned int>(INT_MAX) - m_carried)
        return false;
    if (m_carried > 0 && !completeBlock(in, size, out, produced))
        return false;
    const unsigned int tail = size % kBlockSize;
    const unsigned int whole = size - tail;
    carry(in + whole, tail);
    return whole == 0 || update(in, whole, out + produced, produced);
}

/// Fills the carried block up and decrypts it once it is full.
bool AesBlock::completeBlock(const unsigned char*& in, unsigned int& size, unsigned char* out,
                             int& produced) {
    const unsigned int gap = kBlockSize - m_carried;
    if (size < gap)
        return true;
    carry(in, gap);
    in += gap;
    size -= gap;
    m_carried = 0;
    return update(m_carry, kBlockSize, out, produced);
}

void AesBlock::carry(const unsigned char* in, unsigned int size) {
    memcpy(m_carry + m_carried, in, size);
    m_carried += size;
}

bool AesBlock::update(const unsigned char* in, unsigned int size, unsigned char* out,
                      int& produced) {
    int written = 0;
    if (!m_hasKey || out == nullptr ||
        EVP_DecryptUpdate(m_context.get(), out, &written, in, static_cast<int>(size)) != 1)
        return false;
    produced += written;
    return true;
}

bool AesBlock::end(int& produced) {
    produced = 0;
    const bool isGood = m_hasKey && EVP_DecryptFinal_ex(m_context.get(), m_final, &produced) == 1;
    m_hasKey = false;
    // Another key takes the place of this one: clearing the context would cost its memory as well.
    if (m_context != nullptr)
        EVP_DecryptInit_ex(m_context.get(), nullptr, nullptr, kZeros, kZeros);
    return isGood;
}

} // namespace hascommon::detail
