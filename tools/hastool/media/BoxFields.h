// The fields of one box.
#pragma once

#include <hastool/base/BlockSource.h>

#include <array>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace hastool {

/// Reads big-endian fields and notes them as facts, by name.
///
/// A field that reaches beyond the box is not noted, and reads as 0; from there on the box counts
/// as cut. Only a window of the bytes is in memory.
class BoxFields {
public:
    using Facts = nlohmann::ordered_json;

    /// @param source  borrowed
    explicit BoxFields(const BlockSource& source)
        : m_source(source) {}

    /// Begins a box. @param begin, end  where its content lies in the source
    void enter(uint64_t begin, uint64_t end);

    uint64_t position() const { return m_at; }
    uint64_t left() const { return m_end - m_at; }
    /// Whether a field was missing.
    bool isCut() const { return m_isCut; }
    /// Makes the box count as cut.
    void cut() { m_isCut = true; }
    Facts takeFacts() { return std::move(m_facts); }
    Facts& facts() { return m_facts; }

    /// @name Reading without noting
    /// @{
    /// @param size  1 to 8 bytes
    uint64_t number(size_t size);
    void skip(uint64_t size);
    /// Goes back to a place in the box; it is no longer cut.
    void rewind(uint64_t position);
    /// @}

    /// @name Reading and noting
    /// @{
    uint64_t number(const char* name, size_t size);
    int64_t signed32(const char* name);
    /// Bytes, as hexadecimal digits.
    std::string hex(const char* name, size_t size);
    /// Four letters.
    std::string letters(const char* name);
    /// Text up to a zero. Of a long one only the beginning is noted.
    void text(const char* name);
    /// @}

    /// Four letters, not noted.
    std::string letters();
    std::string hex(size_t size);

private:
    std::optional<std::string> bytes(size_t size);
    void fill();

    const BlockSource& m_source;
    std::array<unsigned char, 16384> m_window;
    uint64_t m_windowAt = 0;
    uint64_t m_windowEnd = 0;
    uint64_t m_at = 0;
    uint64_t m_end = 0;
    bool m_isCut = false;
    Facts m_facts = Facts::object();
};

/// Bytes as plain ASCII: all others are written like "\xA9".
std::string plainText(std::string_view bytes);

} // namespace hastool
