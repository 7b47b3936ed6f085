#include <Hascommon/Linux/CAes.h>

#include <Hascommon/Linux/detail/AesBlock.h>
#include <Hascommon/detail/Log.h>

namespace hascommon::aes {
namespace {

constexpr int kFailed = -1;
constexpr int kOpenSslFailed = -11;

} // namespace

void Decrypt::GiveUp::operator()(detail::AesBlock* block) const {
    detail::AesBlock::giveUp(block);
}

Decrypt::Decrypt()
    : m_block(detail::AesBlock::create()) {}

Decrypt::Decrypt(const Decrypt& other)
    : lastErrorCode(other.lastErrorCode)
    , m_block(other.m_block ? other.m_block->share() : detail::AesBlock::create()) {}

// To oneself as well: the stream ends there, as by every other assignment.
Decrypt& Decrypt::operator=(const Decrypt& other) { // NOLINT(bugprone-unhandled-self-assignment)
    lastErrorCode = other.lastErrorCode;
    if (m_block)
        m_block.reset(detail::AesBlock::create());
    else if (other.m_block)
        m_block.reset(other.m_block->share());
    return *this;
}

Decrypt::~Decrypt() = default;

int Decrypt::Init(unsigned char* key, unsigned char* iv, bool padding) {
    lastErrorCode = 0;
    if (m_block && m_block->begin(key, iv, padding))
        return 1;
    HAS_LOG("Error! EVP_DecryptInit()");
    lastErrorCode = kOpenSslFailed;
    return kFailed;
}

int Decrypt::Do(unsigned char* in, unsigned int len, unsigned char* out) {
    int produced = 0;
    if (len == 0 || (m_block && m_block->feed(in, len, out, produced)))
        return produced;
    HAS_LOG("Error! EVP_DecryptUpdate()");
    lastErrorCode = kOpenSslFailed;
    return kFailed;
}

int Decrypt::Final() {
    if (m_block && m_block->carried() != 0)
        HAS_LOG("Error! Decrypt align error");
    int produced = 0;
    if (m_block && m_block->end(produced))
        return produced;
    HAS_LOG("Error! EVP_DecryptFinal()");
    lastErrorCode = kOpenSslFailed;
    return kFailed;
}

unsigned char* Decrypt::GetFinalBuffer() {
    return m_block ? m_block->finalBuffer() : nullptr;
}

int Decrypt::GetUndecryptedData() {
    return static_cast<int>(detail::AesBlock::kBlockSize);
}

int Decrypt::GetLastErrorCode() {
    return lastErrorCode;
}

} // namespace hascommon::aes
