#include <Hasutil/StringBuffer.h>

#include <cstring>
#include <exception>

namespace hascommon {

namespace {

constexpr unsigned int kFreeHint = 2097152;
constexpr unsigned int kMaxHint = 134217727;

/// Below this a move to the front is not worth its call.
constexpr size_t kLeastToMove = 4096;

} // namespace

StringBuffer::StringBuffer(unsigned int reserve) {
    try {
        m_data.reserve(reserve);
    } catch (const std::exception&) {
        m_data.clear(); // without the room the buffer grows as it is filled
    }
}

StringBuffer::~StringBuffer() = default;

size_t StringBuffer::length() const {
    return m_data.size() - m_taken;
}

bool StringBuffer::PushBack(void* data, unsigned int size) {
    if (size == 0)
        return true;
    if (data == nullptr)
        return false;
    try {
        m_data.append(static_cast<const char*>(data), size);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

bool StringBuffer::Empty() {
    return length() == 0;
}

unsigned int StringBuffer::Size() {
    return static_cast<unsigned int>(length());
}

unsigned int StringBuffer::FreeSize() {
    return kFreeHint - Size();
}

unsigned int StringBuffer::MaxSize() {
    return kMaxHint;
}

void StringBuffer::SetMaxSize(unsigned int) {}

unsigned int StringBuffer::AdjustSize(unsigned int) {
    return kMaxHint;
}

void StringBuffer::PopFront() {}

bool StringBuffer::PopFront(unsigned int size, void* out) {
    if (size > length())
        return false;
    if (out != nullptr && size > 0)
        memcpy(out, m_data.data() + m_taken, size);
    drop(size);
    return true;
}

void StringBuffer::drop(size_t size) {
    m_taken += size;
    // The rest moves to the front only once it is the smaller part, so that each byte moves at most
    // once for every byte taken out.
    if (m_taken == m_data.size())
        Clear();
    else if (m_taken >= kLeastToMove && m_taken >= length()) {
        m_data.erase(0, m_taken);
        m_taken = 0;
    }
}

bool StringBuffer::GetFront(void*) {
    return false;
}

void StringBuffer::Clear() {
    m_data.clear();
    m_taken = 0;
}

std::string StringBuffer::GetString() {
    try {
        return m_data.substr(m_taken);
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace hascommon
