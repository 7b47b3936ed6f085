// Where downloaded bytes go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace hastool {

/// Takes a download's bytes in order, on the download engine's thread.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    /// @return false to end the download; failure() then says why
    virtual bool write(const unsigned char* data, size_t size) = 0;
    virtual std::string failure() const { return {}; }
};

/// Keeps the bytes in memory, up to a limit.
class MemorySink : public ByteSink {
public:
    explicit MemorySink(size_t limit)
        : m_limit(limit) {}

    bool write(const unsigned char* data, size_t size) override {
        if (size > m_limit - m_bytes.size())
            return false;
        m_bytes.append(reinterpret_cast<const char*>(data), size);
        return true;
    }
    std::string failure() const override {
        return "more than " + std::to_string(m_limit >> 20) + " MiB";
    }

    /// The bytes; only once the download has ended.
    std::string& bytes() { return m_bytes; }

private:
    size_t m_limit;
    std::string m_bytes;
};

} // namespace hastool
