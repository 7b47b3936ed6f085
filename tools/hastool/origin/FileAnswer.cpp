#include "FileAnswer.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr uint64_t kPiece = 65536;

} // namespace

FileAnswer::FileAnswer(const std::filesystem::path& path, uint64_t first, uint64_t length,
                       const std::optional<Fault>& fault, RateLimiter& limiter)
    : m_file(path, std::ios::binary)
    , m_first(first)
    , m_length(length)
    , m_fault(fault)
    , m_limiter(&limiter) {
    if (m_fault)
        m_faultAt = m_fault->kind == Fault::Kind::Truncate ? m_fault->bytes : m_length / 2;
}

std::string_view FileAnswer::read(uint64_t offset) {
    if (m_fault && offset >= m_faultAt && !meetFault())
        return {};
    const uint64_t wanted = std::min({kPiece, m_length - offset, untilFault(offset)});
    m_piece.resize(static_cast<size_t>(wanted));
    m_file.seekg(static_cast<std::streamoff>(m_first + offset));
    m_file.read(m_piece.data(), static_cast<std::streamsize>(wanted));
    return {m_piece.data(), static_cast<size_t>(m_file.gcount())};
}

uint64_t FileAnswer::untilFault(uint64_t offset) const {
    return m_fault ? std::max<uint64_t>(m_faultAt - offset, 1) : m_length;
}

/// @return whether the answer goes on behind the fault
bool FileAnswer::meetFault() {
    const Fault fault = *m_fault;
    m_fault.reset();
    m_isReset = fault.kind == Fault::Kind::Reset;
    return fault.kind == Fault::Kind::Stall && m_limiter->wait(fault.seconds);
}

} // namespace hastool
