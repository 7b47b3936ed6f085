// The body of one answer.
#pragma once

#include "FaultRules.h"
#include "RateLimiter.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

namespace hastool {

/// Hands a part of a file over piece by piece, with the fault that it meets in its middle.
class FileAnswer {
public:
    /// Takes the next piece. @return false when the connection is gone
    using Sink = std::function<bool(const char* data, size_t size)>;

    /// @param limiter  borrowed
    FileAnswer(const std::filesystem::path& path, uint64_t first, uint64_t length,
               const std::optional<Fault>& fault, RateLimiter& limiter);

    /// Whether the file can be read.
    bool isOpen() const { return m_file.is_open(); }
    /// Hands over some bytes from a place in the answer on.
    /// @return false when the answer ends here
    bool send(uint64_t offset, const Sink& sink);

private:
    uint64_t untilFault(uint64_t offset) const;
    bool meetFault();

    std::ifstream m_file;
    const uint64_t m_first;
    const uint64_t m_length;
    std::optional<Fault> m_fault;
    uint64_t m_faultAt = 0;
    RateLimiter& m_limiter;
};

} // namespace hastool
