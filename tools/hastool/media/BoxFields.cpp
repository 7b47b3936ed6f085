#include "BoxFields.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kMaxText = 200; // longer text hides the rest of the line
constexpr char kDigits[] = "0123456789abcdef";

} // namespace

std::string plainText(std::string_view bytes) {
    std::string text;
    for (const char letter : bytes) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte >= 0x20 && byte < 0x7F) {
            text += letter;
            continue;
        }
        text += "\\x";
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

void BoxFields::enter(uint64_t begin, uint64_t end) {
    m_at = begin;
    m_end = end;
    m_isCut = false;
    m_facts = Facts::object();
}

void BoxFields::fill() {
    const uint64_t size = std::min<uint64_t>(m_window.size(), m_source.size - m_at);
    m_windowEnd = m_windowAt = m_at; // the window is empty if the read throws
    m_source.read(m_at, m_window.data(), static_cast<size_t>(size));
    m_windowEnd = m_at + size;
}

uint64_t BoxFields::number(size_t size) {
    if (m_isCut || size > left()) {
        m_isCut = true;
        return 0;
    }
    if (m_at < m_windowAt || m_at + size > m_windowEnd)
        fill();
    uint64_t value = 0;
    for (; size > 0; --size)
        value = value << 8 | m_window[static_cast<size_t>(m_at++ - m_windowAt)];
    return value;
}

void BoxFields::skip(uint64_t size) {
    if (m_isCut || size > left())
        m_isCut = true;
    else
        m_at += size;
}

void BoxFields::rewind(uint64_t position) {
    m_at = position;
    m_isCut = false;
}

uint64_t BoxFields::number(const char* name, size_t size) {
    const uint64_t value = number(size);
    if (!m_isCut)
        m_facts[name] = value;
    return value;
}

int64_t BoxFields::signed32(const char* name) {
    const auto bits = static_cast<int64_t>(number(4));
    const int64_t value = bits < int64_t{1} << 31 ? bits : bits - (int64_t{1} << 32);
    if (!m_isCut)
        m_facts[name] = value;
    return value;
}

std::optional<std::string> BoxFields::bytes(size_t size) {
    if (m_isCut || size > left()) {
        m_isCut = true;
        return std::nullopt;
    }
    std::string result;
    while (result.size() < size)
        result += static_cast<char>(number(1));
    return result;
}

std::string BoxFields::hex(size_t size) {
    const auto found = bytes(size);
    std::string text;
    for (const char letter : found.value_or("")) {
        const auto byte = static_cast<unsigned char>(letter);
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

std::string BoxFields::hex(const char* name, size_t size) {
    std::string text = hex(size);
    if (!m_isCut)
        m_facts[name] = text;
    return text;
}

std::string BoxFields::letters() {
    const auto found = bytes(4);
    return found ? plainText(*found) : std::string();
}

std::string BoxFields::letters(const char* name) {
    std::string text = letters();
    if (!m_isCut)
        m_facts[name] = text;
    return text;
}

void BoxFields::text(const char* name) {
    std::string found;
    while (const uint64_t letter = number(1)) {
        if (found.size() < kMaxText)
            found += static_cast<char>(letter);
    }
    if (!m_isCut)
        m_facts[name] = plainText(found);
}

} // namespace hastool
