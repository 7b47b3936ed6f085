// What the begin of a coded picture tells.
#pragma once

#include "PsiAssembler.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace hastool {

/// Which coding the NAL units of a stream are of.
enum class NalCoding { Avc, Hevc };

/// Takes the begin of a picture in an Annex B byte stream (ITU-T H.264 and H.265, annex B), up to
/// its first slice, and tells whether decoding can begin with it. What comes behind is passed over.
class PictureHead {
public:
    explicit PictureHead(NalCoding coding)
        : m_coding(coding) {}

    /// Begins the next picture.
    void begin();
    void push(const unsigned char* data, size_t size);

    /// Whether its first slice, or enough of it, has come.
    bool isDone() const { return m_isDone; }
    /// Whether a slice was found; else nothing is known of the picture.
    bool hasSlice() const { return m_hasSlice; }
    /// Whether it needs no picture before it: an IDR picture, one with a recovery point, or one of
    /// the random access points of H.265.
    bool isKey() const { return m_isKey; }
    /// Whether its first slice, of H.264, needs no other picture.
    bool isIntra() const { return m_isIntra; }
    /// Its sequence parameter set of H.264, with its NAL header; empty without one.
    const Bytes& sequenceSet() const { return m_set; }

    /// The most that is looked at of a picture: parameter sets and messages before its slices.
    static constexpr size_t kMaxHead = 65536;

private:
    void scan();
    void takeHeader(unsigned char header, unsigned char next);
    void takeUnit(size_t end);

    NalCoding m_coding;
    Bytes m_bytes;
    size_t m_at = 0;   ///< what is before it has been looked at
    size_t m_unit = 0; ///< where the current unit begins; 0 before the first
    bool m_isDone = true;
    bool m_hasSlice = false;
    bool m_isKey = false;
    bool m_isIntra = false;
    Bytes m_set;
};

/// Whether decoding can begin with a sample of MP4, whose units stand behind their lengths.
/// @param lengthSize  bytes of a length, 1 to 4
/// @param isMarked    whether the file says so; then a picture without references is enough
/// @return nothing when no slice is found
std::optional<bool> isKeySample(std::string_view sample, unsigned lengthSize, NalCoding coding,
                                bool isMarked);

} // namespace hastool
