// The stream of a content, cut into top-level boxes.
#pragma once

#include <Hasutil/detail/BoxRewriter.h>
#include <Hasutil/detail/TrackRecords.h>

#include <vector>

namespace hascommon::detail {

class JoinedChunk;

/// Takes the chunks of a segment, lets media data through and hands every other box, once it is
/// whole, to a BoxRewriter.
///
/// The operations mean what those of CCENCMediaContent of the same names say.
class SegmentRewriter {
public:
    /// @param records      told where a segment begins; stay the owner's, as does the next
    /// @param descriptors  of the manifest
    SegmentRewriter(TrackRecords& records, const ContentDescriptors& descriptors)
        : m_records(records)
        , m_boxes(records.all(), descriptors) {}

    /// Begins a content.
    void begin(bool avSeparated);
    void startSegment() { m_newSegment = true; }
    void resetBuffer();
    int process(int period, int representation, unsigned char* in, unsigned int inLen,
                unsigned char* out, unsigned int& outLen);
    int final(int period, int representation, unsigned char* out, unsigned int& outLen);

    /// Bytes that wait for the rest of their box.
    size_t waiting() const { return m_waiting.size(); }
    int lastError() const { return m_lastError; }

private:
    /// How far the stream came with a box.
    enum class Step { Done, Waits, Failed };

    void clearStream();
    int fail(int error);
    Step failed(int error);
    bool isMediaOnly(const unsigned char* in, unsigned int inLen, const unsigned char* out) const;
    bool resizeBuffer(unsigned int inLen);
    bool takeChunk(unsigned char* in, unsigned int inLen, OutputArea& target);
    Step emitNext(JoinedChunk& stream, OutputArea& target);
    Step beginBox(JoinedChunk& stream);
    Step passMedia(JoinedChunk& stream, OutputArea& target);

    TrackRecords& m_records;
    BoxRewriter m_boxes;
    int m_lastError = 0;
    bool m_newSegment = false;
    std::vector<unsigned char> m_waiting; // the beginning of one box, never more
    unsigned int m_capacity = 0;          // what may come to wait, as told in the log
    unsigned long long m_boxLeft = 0;     // of the current box; 0 between boxes
    bool m_isPassing = false;             // the current box is media data
    unsigned long long m_position = 0;    // of the current byte in the stream as it came
};

} // namespace hascommon::detail
