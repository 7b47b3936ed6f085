#include <Hascommon/Packet.h>

#include <cstdint>
#include <cstring>
#include <new>

namespace hascommon {

Packet::Packet() = default;

Packet::Packet(const Packet& other) {
    viewOf(other);
}

Packet& Packet::operator=(const Packet& other) {
    if (this == &other)
        return *this;
    if (m_buffer != other.m_buffer) {
        releaseBytes();
        m_owns = false;
    }
    viewOf(other);
    return *this;
}

Packet::~Packet() {
    PtrFree();
}

void Packet::releaseBytes() {
    if (m_owns)
        delete[] m_buffer;
    m_buffer = nullptr;
}

void Packet::viewOf(const Packet& other) {
    m_size = other.m_size;
    m_tag = other.m_tag;
    m_buffer = other.m_buffer;
    m_readPos = other.m_readPos;
    m_dataPos = other.m_dataPos;
}

void Packet::PtrFree() {
    releaseBytes();
    m_size = 0;
    m_readPos = 0;
    m_dataPos = 0;
}

int Packet::PtrAlloc(unsigned int size) {
    PtrFree();
    if (size == 0)
        return 0;
    m_buffer = new (std::nothrow) unsigned char[size];
    if (m_buffer == nullptr)
        return 0;
    m_owns = true;
    m_size = size;
    return 0;
}

int Packet::PtrResize(unsigned int size) {
    if (size <= m_size || grow(size))
        m_size = size;
    return 0;
}

bool Packet::grow(unsigned int size) {
    auto* bytes = new (std::nothrow) unsigned char[size];
    if (bytes == nullptr)
        return false;
    if (m_buffer != nullptr)
        memcpy(bytes, m_buffer, m_size);
    releaseBytes();
    m_buffer = bytes;
    m_owns = true;
    return true;
}

void Packet::SetPtr(unsigned char* bytes, unsigned int size) {
    PtrFree();
    m_buffer = bytes;
    m_size = size;
    m_owns = false;
}

unsigned char* Packet::GetPtr() {
    return m_buffer;
}

unsigned int Packet::GetSize() {
    return m_size;
}

int Packet::GetByte(unsigned char* out, unsigned int n) {
    if (m_buffer == nullptr)
        return -1;
    // In 64 bits, because a position that was moved before the first byte stands near 2^32.
    if (uint64_t{m_readPos} + n >= m_size)
        return -1;
    if (n == 0)
        return 0;
    memcpy(out, m_buffer + m_readPos, n);
    m_readPos += n;
    return 0;
}

void Packet::UngetByte(unsigned int n) {
    m_readPos -= n;
}

void Packet::ResetPos() {
    m_readPos = 0;
}

void Packet::SetDataPos(int position) {
    m_dataPos = position;
}

void Packet::MoveDataPos(int offset) {
    m_dataPos =
        static_cast<int>(static_cast<unsigned int>(m_dataPos) + static_cast<unsigned int>(offset));
}

unsigned char* Packet::GetDataPtr() {
    // As a number: the position may lie outside the buffer, where a pointer must not go.
    const auto address = reinterpret_cast<uintptr_t>(m_buffer) + static_cast<uintptr_t>(m_dataPos);
    return reinterpret_cast<unsigned char*>(address);
}

int Packet::GetDataSize() {
    return static_cast<int>(m_size - static_cast<unsigned int>(m_dataPos));
}

} // namespace hascommon
