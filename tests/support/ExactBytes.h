// Test input in a heap block of exactly its size, so that a sanitizer sees every step over its
// ends.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace test {

class ExactBytes {
public:
    ExactBytes(std::initializer_list<int> bytes)
        : ExactBytes(bytes.size()) {
        std::transform(bytes.begin(), bytes.end(), data(),
                       [](int byte) { return static_cast<unsigned char>(byte); });
    }
    explicit ExactBytes(size_t size, unsigned char fill = 0)
        : m_size(size)
        , m_bytes(new unsigned char[size]) {
        std::fill_n(data(), size, fill);
    }
    explicit ExactBytes(const std::vector<unsigned char>& bytes)
        : ExactBytes(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data());
    }
    explicit ExactBytes(const std::string& bytes)
        : ExactBytes(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data());
    }

    ExactBytes(const ExactBytes& other)
        : ExactBytes(other.copy()) {}
    ExactBytes(ExactBytes&&) = default;
    ExactBytes& operator=(const ExactBytes&) = delete;

    template<typename Iterator>
    static ExactBytes of(Iterator first, Iterator last) {
        return ExactBytes(std::vector<unsigned char>(first, last));
    }

    unsigned char* data() const { return m_bytes.get(); }
    size_t size() const { return m_size; }
    int intSize() const { return static_cast<int>(m_size); }
    unsigned int uintSize() const { return static_cast<unsigned int>(m_size); }
    unsigned char& operator[](size_t at) const { return m_bytes[at]; }
    std::vector<unsigned char> copy() const { return {data(), data() + m_size}; }

private:
    size_t m_size;
    std::unique_ptr<unsigned char[]> m_bytes;
};

} // namespace test
