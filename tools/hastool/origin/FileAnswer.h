// The body of one answer.
#pragma once

#include "FaultRules.h"
#include "RateLimiter.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <vector>

namespace hastool {

/// Hands a part of a file over piece by piece, with a fault within it if there is to be one.
class FileAnswer {
public:
    /// @param limiter  borrowed
    FileAnswer(const std::filesystem::path& path, uint64_t first, uint64_t length,
               const std::optional<Fault>& fault, RateLimiter& limiter);

    /// Whether the file can be read.
    bool isOpen() const { return m_file.is_open(); }
    /// The next bytes from a place in the answer on, valid until the next call; empty when the
    /// answer ends here, as its fault says or because the file cannot be read.
    std::string_view read(uint64_t offset);
    /// Whether the answer ended because the connection is to be reset.
    bool isReset() const { return m_isReset; }

private:
    uint64_t untilFault(uint64_t offset) const;
    bool meetFault();

    std::ifstream m_file;
    const uint64_t m_first;
    const uint64_t m_length;
    std::optional<Fault> m_fault;
    uint64_t m_faultAt = 0;
    bool m_isReset = false;
    std::vector<char> m_piece;
    RateLimiter* m_limiter;
};

} // namespace hastool
