#include <Hasutil/CTSPacketBuffer.h>

#include <Hascommon/Linux/HasMemory.h>
#include <Hascommon/LockGuard.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>

namespace hascommon {

namespace {

constexpr unsigned int kPacket = 188;

using Guard = LockGuard<RecursiveMutex>;

unsigned int wholePackets(unsigned int size) {
    return size - size % kPacket;
}

} // namespace

CTSPacketBuffer::CTSPacketBuffer(unsigned int capacity) {
    const Guard guard(m_mutex);
    replaceRing(capacity);
}

CTSPacketBuffer::~CTSPacketBuffer() {
    const Guard guard(m_mutex);
    FreeHasMemory(reinterpret_cast<unsigned char*>(m_start));
}

void CTSPacketBuffer::SetMaxSize(unsigned int size) {
    const Guard guard(m_mutex);
    replaceRing(size);
}

void CTSPacketBuffer::replaceRing(unsigned int size) {
    unsigned int rounded = wholePackets(size);
    if (size == 0 || rounded > INT_MAX)
        return;
    unsigned char* memory = nullptr;
    GetHasMemory(&memory, &rounded);
    if (memory == nullptr && rounded > 0)
        return;
    // After pushes of odd sizes a pop may hand out slots that nothing was written to.
    if (rounded > 0)
        memset(memory, 0, rounded);
    FreeHasMemory(reinterpret_cast<unsigned char*>(m_start));
    m_start = reinterpret_cast<Slot*>(memory);
    m_end = m_start + rounded / kPacket;
    m_read = m_start;
    m_write = m_start;
    m_used = 0;
    m_capacity = static_cast<int>(rounded);
}

unsigned int CTSPacketBuffer::AdjustSize(unsigned int size) {
    return wholePackets(size);
}

bool CTSPacketBuffer::Empty() {
    const Guard guard(m_mutex);
    return m_used == 0;
}

unsigned int CTSPacketBuffer::Size() {
    const Guard guard(m_mutex);
    return static_cast<unsigned int>(m_used);
}

unsigned int CTSPacketBuffer::FreeSize() {
    const Guard guard(m_mutex);
    return freeBytes();
}

unsigned int CTSPacketBuffer::MaxSize() {
    const Guard guard(m_mutex);
    return static_cast<unsigned int>(m_capacity);
}

unsigned int CTSPacketBuffer::slots() const {
    return static_cast<unsigned int>(m_end - m_start);
}

unsigned int CTSPacketBuffer::freeBytes() const {
    return static_cast<unsigned int>(m_capacity - m_used);
}

CTSPacketBuffer::Slot* CTSPacketBuffer::around(Slot* position, unsigned int packets) const {
    const auto index = static_cast<unsigned int>(position - m_start) + packets;
    return m_start + index % slots();
}

unsigned int CTSPacketBuffer::inside(const Slot* position, unsigned int size) const {
    return std::min(size, static_cast<unsigned int>(m_end - position) * kPacket);
}

void CTSPacketBuffer::store(const unsigned char* from, unsigned int size) {
    memcpy(m_write, from, inside(m_write, size));
    m_used += static_cast<int>(size);
}

void CTSPacketBuffer::fetch(unsigned char* to, unsigned int size) const {
    if (to != nullptr)
        memcpy(to, m_read, inside(m_read, size));
}

bool CTSPacketBuffer::PushBackPacket(void* packet) {
    const Guard guard(m_mutex);
    if (packet == nullptr || freeBytes() < kPacket)
        return false;
    if (m_write == m_end)
        return true;
    store(static_cast<const unsigned char*>(packet), kPacket);
    m_write = around(m_write, 1);
    return true;
}

bool CTSPacketBuffer::PushBack(void* data, unsigned int size) {
    const Guard guard(m_mutex);
    if (data == nullptr || size < kPacket || freeBytes() < size)
        return false;
    const auto tail = static_cast<unsigned int>(m_end - m_write);
    if (tail > size / kPacket)
        pushAhead(static_cast<const unsigned char*>(data), size);
    else
        pushRound(static_cast<const unsigned char*>(data), size);
    return true;
}

void CTSPacketBuffer::pushAhead(const unsigned char* bytes, unsigned int size) {
    const unsigned int packets = size / kPacket;
    const unsigned int whole = packets * kPacket;
    store(bytes, whole);
    m_write += packets;
    if (size == whole)
        return;
    store(bytes + whole, size - whole);
    // This step alone may leave the position at the end without going round, and it then stays
    // there for PushBackPacket() to see.
    const bool toTheEnd = m_end - m_write == static_cast<std::ptrdiff_t>(packets);
    m_write = toTheEnd ? m_end : around(m_write, packets);
}

void CTSPacketBuffer::pushRound(const unsigned char* bytes, unsigned int size) {
    const unsigned int head = static_cast<unsigned int>(m_end - m_write) * kPacket;
    if (head == 0) { // all of it would lie behind the end
        m_used += static_cast<int>(size);
        m_write = around(m_start, size / kPacket);
        return;
    }
    store(bytes, head);
    m_write = m_start;
    if (size == head)
        return;
    store(bytes + head, size - head);
    m_write = around(m_start, size / kPacket);
}

bool CTSPacketBuffer::GetFront(void* out) {
    const Guard guard(m_mutex);
    if (m_used == 0)
        return false;
    fetch(static_cast<unsigned char*>(out), kPacket);
    return true;
}

void CTSPacketBuffer::PopFront() {
    const Guard guard(m_mutex);
    PopFrontNoLock();
}

void CTSPacketBuffer::PopFrontNoLock() {
    if (m_used < static_cast<int>(kPacket))
        return;
    m_read = around(m_read, 1);
    m_used -= static_cast<int>(kPacket);
}

bool CTSPacketBuffer::PopFront(unsigned int size, void* out) {
    const Guard guard(m_mutex);
    if (size < kPacket || static_cast<unsigned int>(m_used) < size)
        return false;
    auto* const to = static_cast<unsigned char*>(out);
    if (m_write > m_read) {
        fetch(to, size);
        m_read = around(m_read, size / kPacket);
    } else {
        popRound(to, size);
    }
    m_used -= static_cast<int>(size);
    return true;
}

void CTSPacketBuffer::popRound(unsigned char* out, unsigned int size) {
    const unsigned int packets = size / kPacket;
    const unsigned int first = std::min(packets, static_cast<unsigned int>(m_end - m_read));
    const unsigned int head = first * kPacket;
    fetch(out, head);
    m_read = around(m_read, first);
    if (size == head)
        return;
    fetch(out != nullptr ? out + head : nullptr, size - head);
    m_read = around(m_read, packets);
}

void CTSPacketBuffer::Clear() {
    const Guard guard(m_mutex);
    m_read = m_start;
    m_write = m_start;
    m_used = 0;
}

std::string CTSPacketBuffer::GetString() {
    return {};
}

RecursiveMutex& CTSPacketBuffer::GetMutex() {
    return m_mutex;
}

} // namespace hascommon
