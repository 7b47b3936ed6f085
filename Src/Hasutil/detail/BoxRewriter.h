// What becomes of a whole box on its way through the stream.
#pragma once

#include <Hasutil/CENCFormat.h>
#include <Hasutil/detail/ContentDescriptors.h>
#include <Hasutil/detail/OutputArea.h>

namespace hascommon::detail {

/// Puts PSSH information into `moov` and `moof`, or takes it out, and moves the offsets that lead
/// across it; see CCENCMediaContent::process(). Other boxes leave unchanged.
class BoxRewriter {
public:
    /// @param records      receives the PSSH data of each `moov`; stays the owner's, as does the
    ///                     next
    /// @param descriptors  of the manifest
    BoxRewriter(CENC_RECORDS& records, const ContentDescriptors& descriptors)
        : m_records(records)
        , m_descriptors(descriptors) {}

    /// Begins a content. @param avSeparated  as for CCENCMediaContent::init()
    void begin(bool avSeparated) { m_avSeparated = avSeparated; }
    /// Begins a stream, in front of which nothing was inserted.
    void clear() { m_inserted = 0; }

    /// Writes a box.
    /// @param position  where it began in the stream as it came
    /// @return false when it is not well-formed, or when what must move does not fit its field
    bool emitBox(const BoxView& box, unsigned long long position, OutputArea& target);

private:
    bool emitMoov(const BoxView& moov, unsigned long long position, OutputArea& target);
    bool emitSeparateMoov(const BoxView& moov, size_t psshAt, OutputArea& target);
    bool emitMuxedMoov(const BoxView& moov, size_t psshAt, unsigned long long position,
                       OutputArea& target);
    bool emitMoof(const BoxView& moof, unsigned long long position, OutputArea& target);
    bool choosePssh(bool hasOwn, const OutputArea& target, PsshBox& pssh);

    CENC_RECORDS& m_records;
    const ContentDescriptors& m_descriptors;
    bool m_avSeparated = false;
    long long m_inserted = 0; // bytes put before what is emitted now, since a clean start
};

} // namespace hascommon::detail
