// A plain model of the packet ring, in bytes and offsets, to compare the real one with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace test {

class RingModel {
public:
    static constexpr size_t kPacket = 188;

    explicit RingModel(size_t capacity) { setMaxSize(capacity); }

    void setMaxSize(size_t size) {
        if (size == 0)
            return;
        m_ring.assign(size / kPacket * kPacket, 0);
        clear();
    }
    void clear() {
        m_read = 0;
        m_write = 0;
        m_used = 0;
    }
    size_t size() const { return m_used; }
    size_t maxSize() const { return m_ring.size(); }
    size_t freeSize() const { return m_ring.size() - m_used; }

    bool pushBackPacket(const unsigned char* packet) {
        if (freeSize() < kPacket)
            return false;
        if (m_write == m_ring.size())
            return true;
        write(packet, kPacket);
        m_write = wrapped(m_write + kPacket);
        return true;
    }

    bool pushBack(const unsigned char* data, size_t size) {
        if (freeSize() < size || size < kPacket)
            return false;
        const size_t packets = size / kPacket;
        const size_t tail = (m_ring.size() - m_write) / kPacket;
        if (tail > packets) {
            write(data, packets * kPacket);
            m_write += packets * kPacket;
            const size_t rest = size % kPacket;
            if (rest == 0)
                return true;
            write(data + packets * kPacket, rest);
            m_write += packets * kPacket;
            if (m_write > m_ring.size()) // the very end is left as it is
                m_write = wrapped(m_write);
            return true;
        }
        if (tail > 0) {
            write(data, tail * kPacket);
            m_write = 0;
            const size_t rest = size - tail * kPacket;
            if (rest == 0)
                return true;
            write(data + tail * kPacket, rest);
            m_write = wrapped(packets * kPacket);
            return true;
        }
        write(data, size);
        m_write = wrapped(m_write + packets * kPacket);
        return true;
    }

    bool getFront(std::vector<unsigned char>& out) const {
        if (m_used == 0)
            return false;
        read(out, 0, kPacket);
        return true;
    }

    void popFront() {
        if (m_used < kPacket)
            return;
        m_read = wrapped(m_read + kPacket);
        m_used -= kPacket;
    }

    /// Bytes of `out` for which the ring has none stay as they are.
    bool popFront(size_t size, std::vector<unsigned char>& out) {
        if (m_used < size || size < kPacket)
            return false;
        const size_t packets = size / kPacket;
        m_used -= size;
        if (m_write > m_read) {
            read(out, 0, size);
            m_read = wrapped(m_read + packets * kPacket);
            return true;
        }
        const size_t tail = (m_ring.size() - m_read) / kPacket;
        size_t moved = 0;
        if (tail > 0) {
            moved = std::min(tail, packets) * kPacket;
            read(out, 0, moved);
            m_read = wrapped(m_read + moved);
        }
        if (moved == size)
            return true;
        read(out, moved, size - moved);
        m_read = wrapped(m_read + packets * kPacket);
        return true;
    }

private:
    size_t wrapped(size_t offset) const { return offset % m_ring.size(); }
    void write(const unsigned char* from, size_t size) {
        for (size_t i = 0; i < size && m_write + i < m_ring.size(); ++i)
            m_ring[m_write + i] = from[i];
        m_used += size;
    }
    void read(std::vector<unsigned char>& out, size_t at, size_t size) const {
        for (size_t i = 0; i < size && m_read + i < m_ring.size(); ++i)
            out[at + i] = m_ring[m_read + i];
    }

    std::vector<unsigned char> m_ring;
    size_t m_read = 0;
    size_t m_write = 0;
    size_t m_used = 0;
};

} // namespace test
