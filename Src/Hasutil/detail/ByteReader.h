// Big-endian fields, one behind another.
#pragma once

#include <cstddef>
#include <cstring>

namespace hascommon::detail {

/// Reads whole bytes that belong to somebody else, at any alignment.
///
/// Each operation compares with what is left. One that does not fit returns false and changes
/// nothing: the reader stands where it stood, and what was to be filled keeps its value.
class ByteReader {
public:
    ByteReader() = default;
    ByteReader(const unsigned char* bytes, size_t size)
        : m_bytes(bytes)
        , m_size(size) {}

    /// Bytes read so far.
    size_t at() const { return m_at; }
    size_t left() const { return m_size - m_at; }
    /// Where the next byte lies.
    const unsigned char* here() const { return m_bytes + m_at; }
    /// What is left, as a reader that counts from 0.
    ByteReader rest() const { return {here(), left()}; }

    /// The count has 64 bits, so that a product of two fields fits.
    bool skip(unsigned long long count) {
        if (count > left())
            return false;
        m_at += static_cast<size_t>(count);
        return true;
    }
    /// The next bytes as a reader of their own, which this one passes over.
    bool take(unsigned long long count, ByteReader& part) {
        const unsigned char* const begin = here();
        if (!skip(count))
            return false;
        part = ByteReader(begin, static_cast<size_t>(count));
        return true;
    }
    bool copy(void* to, size_t count) {
        if (count > left())
            return false;
        memcpy(to, here(), count);
        m_at += count;
        return true;
    }

    bool u8(unsigned int& value) { return number<1>(value); }
    bool u16(unsigned int& value) { return number<2>(value); }
    bool u24(unsigned int& value) { return number<3>(value); }
    bool u32(unsigned int& value) { return number<4>(value); }
    bool u64(unsigned long long& value) { return number<8>(value); }

private:
    template<size_t bytes, typename Number>
    bool number(Number& value) {
        if (bytes > left())
            return false;
        value = numberAt<bytes, Number>(here());
        m_at += bytes;
        return true;
    }
    /// Written so that a compiler makes one load of it.
    template<size_t bytes, typename Number>
    static Number numberAt(const unsigned char* at) {
        if constexpr (bytes == 1)
            return at[0];
        else
            return static_cast<Number>(numberAt<bytes - 1, Number>(at) << 8 | at[bytes - 1]);
    }

    const unsigned char* m_bytes = nullptr;
    size_t m_size = 0;
    size_t m_at = 0;
};

} // namespace hascommon::detail
