#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#include <Hasutil/detail/SegmentRewriter.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/JoinedChunk.h>
#include <Hasutil/detail/TopHeader.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr unsigned long long kToTheEnd = ~0ULL; // as far as anybody will ever count
constexpr unsigned int kLimit = CCENCMediaContent::kBufferLimit;

} // namespace

namespace hascommon::detail {

void SegmentRewriter::begin(bool avSeparated) {
    clearStream();
    m_boxes.begin(avSeparated);
    m_newSegment = false;
    m_lastError = CCENCMediaContent::ERROR_NONE;
}

void SegmentRewriter::resetBuffer() {
    clearStream();
    m_newSegment = true;
}

void SegmentRewriter::clearStream() {
    m_records.clearFragment();
    m_boxes.clear();
    m_waiting.clear();
    m_boxLeft = 0;
    m_isPassing = false;
    m_position = 0;
}

int SegmentRewriter::fail(int error) {
    m_lastError = error;
    return -1;
}

SegmentRewriter::Step SegmentRewriter::failed(int error) {
    fail(error);
    return Step::Failed;
}

int SegmentRewriter::process(int period, int representation, unsigned char* in, unsigned int inLen,
                             unsigned char* out, unsigned int& outLen) {
    outLen = 0;
    if (isMediaOnly(in, inLen, out)) {
        memcpy(out, in, inLen);
        m_boxLeft -= inLen;
        m_position += inLen;
        outLen = inLen;
        return static_cast<int>(inLen);
    }
    if ((in == nullptr && inLen != 0) || (out == nullptr && inLen + m_waiting.size() != 0))
        return fail(CCENCMediaContent::ERROR_ARGUMENT);
    if (m_newSegment)
        clearStream();
    m_newSegment = false;
    if (!resizeBuffer(inLen))
        return fail(CCENCMediaContent::ERROR_BUFFER_LIMIT);
    OutputArea target{period, representation, out, outLen};
    if (takeChunk(in, inLen, target))
        return static_cast<int>(outLen);
    resetBuffer();
    return -1;
}

/// @return false after a failure
bool SegmentRewriter::takeChunk(unsigned char* in, unsigned int inLen, OutputArea& target) {
    // Nothing follows a call without input, so a box may then be as short as its header.
    const size_t least = inLen == 0 ? kBoxHeader : kBoxHeader + 1;
    JoinedChunk stream(m_waiting, in, inLen, kLimit);
    Step step = Step::Done;
    try {
        while (step == Step::Done && stream.available() >= (m_isPassing ? 1 : least))
            step = emitNext(stream, target);
        if (step != Step::Failed)
            stream.keepRest();
    } catch (const std::bad_alloc&) {
        step = failed(CCENCMediaContent::ERROR_MEMORY);
    }
    return step != Step::Failed;
}

/// Whether a chunk is media data from end to end, and only that, as most chunks are.
bool SegmentRewriter::isMediaOnly(const unsigned char* in, unsigned int inLen,
                                  const unsigned char* out) const {
    return m_isPassing && inLen < m_boxLeft && inLen < m_capacity && !m_newSegment &&
           m_waiting.empty() && in != nullptr && out != nullptr;
}

/// Nothing is allocated here: most chunks never wait. The lines tell what might have to.
bool SegmentRewriter::resizeBuffer(unsigned int inLen) {
    const unsigned long long needed = m_waiting.size() + 1ULL * inLen;
    if (needed < m_capacity)
        return true;
    if (needed > kLimit) {
        HAS_LOG(" [*] m_nRemainSize : %d", static_cast<int>(m_waiting.size()));
        HAS_LOG(" [*] nDataSize : %d", static_cast<int>(inLen));
        HAS_LOG(" [*] resizeBuffer( %d )", static_cast<int>(needed + 1));
        return false;
    }
    m_capacity = static_cast<unsigned int>(needed + 1);
    HAS_LOG(" [*] resizeBuffer( %d )", static_cast<int>(m_capacity));
    return true;
}

SegmentRewriter::Step SegmentRewriter::emitNext(JoinedChunk& stream, OutputArea& target) {
    if (m_boxLeft == 0) {
        const Step begun = beginBox(stream);
        if (begun != Step::Done)
            return begun;
    }
    if (m_isPassing)
        return passMedia(stream, target);
    const auto size = static_cast<size_t>(m_boxLeft);
    BoxView box;
    if (!stream.front(size, box))
        return Step::Waits;
    const unsigned int used = target.used;
    if (!m_boxes.emitBox(box, m_position, target)) {
        target.used = used;
        return failed(CCENCMediaContent::ERROR_BOX_CONTENT);
    }
    stream.drop(size);
    m_position += size;
    m_boxLeft = 0;
    return Step::Done;
}

SegmentRewriter::Step SegmentRewriter::passMedia(JoinedChunk& stream, OutputArea& target) {
    const auto size =
        static_cast<size_t>(std::min<unsigned long long>(m_boxLeft, stream.available()));
    unsigned char* const out = target.take(size);
    if (out == nullptr)
        return failed(CCENCMediaContent::ERROR_BOX_CONTENT);
    stream.pass(out, size);
    m_boxLeft -= size;
    m_position += size;
    m_isPassing = m_boxLeft != 0;
    return Step::Done;
}

SegmentRewriter::Step SegmentRewriter::beginBox(JoinedChunk& stream) {
    BoxView bytes; // of the header, as far as they have come
    TopHeader header;
    if (!stream.front(std::min(stream.available(), kLongHeader), bytes) ||
        !header.read(bytes.from(0)))
        return Step::Waits;
    const unsigned long long size = header.isOpen ? kToTheEnd : header.size;
    if (size < header.least || (!header.isMedia() && size >= kLimit)) {
        HAS_LOG_HIGHLIGHTED("  [Error] Invalid boxSize: %d", static_cast<int>(size));
        return failed(CCENCMediaContent::ERROR_BOX_SIZE);
    }
    m_boxLeft = size;
    m_isPassing = header.isMedia();
    return Step::Done;
}

int SegmentRewriter::final(int period, int representation, unsigned char* out,
                           unsigned int& outLen) {
    HAS_LOG("[OnFinal]----------------------- m_nRemainSize: %d",
            static_cast<int>(m_waiting.size()));
    unsigned int total = 0;
    bool goesOn = true;
    while (goesOn && !m_waiting.empty()) {
        const size_t waited = m_waiting.size();
        unsigned int size = 0;
        unsigned char* const at = out == nullptr ? nullptr : out + total;
        const int result = process(period, representation, nullptr, 0, at, size);
        total += size;
        if (result > 0)
            HAS_LOG("[OnFinal]----------------------- finalSize: %d, m_nRemainSize: %d, nOutSize: "
                    "%d",
                    static_cast<int>(total), static_cast<int>(m_waiting.size()),
                    static_cast<int>(size));
        else
            HAS_LOG("[OnFinal]Decrypted: %d", result);
        goesOn = result > 0 || (result == 0 && m_waiting.size() < waited);
    }
    outLen = total;
    clearStream();
    m_newSegment = false;
    return 1;
}

} // namespace hascommon::detail
