/// @file
/// Reads fragmented ISO base media protected with Common Encryption, and rewrites its PSSH boxes.
#pragma once

#include <Hascommon/Export.h>
#include <Hasutil/CENCFormat.h>
#include <Hasutil/ContentProtection_t.h>
#include <Hasutil/DrmTypes.h>

#include <cstddef>
#include <list>
#include <memory>
#include <string>

namespace hascommon::detail {
class ContentDescriptors;
class FragmentWalk;
class SegmentRewriter;
} // namespace hascommon::detail

/// Two services over ISO/IEC 14496-12 boxes with Common Encryption (ISO/IEC 23001-7), side by side:
///
/// - **The stream**, process() and final(): takes a segment in chunks, lets media data through and
///   puts the PSSH information a platform's decryptor needs where it looks for it. The result is
///   the same stream, still encrypted; no sample is decrypted and no key is handled here.
/// - **The walk**, parsingBox(), moofBoxParsing() and walkBoxes(): reads tracks, fragments and
///   sample encryption into records, and retypes the protection boxes "free" in the caller's bytes.
///
/// **Order of calls.** setContentProtectionInfo() for each representation and init() once per
/// content; then for each segment startSegment(), process() for each chunk, final(). resetBuffer()
/// when a segment is given up.
///
/// **Bounds.** No operation reads or writes outside the bytes it was given. A box that is shorter
/// than the fields read from it, a child that reaches beyond its parent, a count that its box
/// cannot hold and nesting deeper than 32 boxes are structural errors: -1. Counts are checked
/// before memory is taken for them. A walk visits no more samples and subsamples than its bytes can
/// be meant for, counted each time a box names them: 2,097,152 and four for each byte; more is an
/// error too. What was known before such an error stays, apart from what the failing box itself
/// begins anew.
///
/// **Ownership.** Callers keep all their bytes; what is remembered is copied. Records belong to
/// the object and stay until the next walk.
///
/// **Failures** are returned, by the stream and by the walk also when memory runs out. What works
/// on texts and descriptors reports that by std::bad_alloc, and so does the constructor.
///
/// Thread safety: one thread at a time for one object.
class HAS_API CCENCMediaContent {
public:
    /// What getLastErrorCode() tells.
    enum : int {
        /// No failure since init().
        ERROR_NONE = 0,
        /// More would have to wait than the buffer may hold; the chunk was refused.
        ERROR_BUFFER_LIMIT = -61,
        /// A top-level box has a size that cannot be valid, or is too large to wait for.
        ERROR_BOX_SIZE = -62,
        /// A `moov` or `moof` is not well-formed, or what must move does not fit its field.
        ERROR_BOX_CONTENT = -63,
        /// A null pointer where bytes were announced.
        ERROR_ARGUMENT = -64,
        /// Memory has run out; what waited is lost.
        ERROR_MEMORY = -65,
    };

    /// How getBoxParsingMode() classifies boxes.
    enum : int {
        /// A container: its children begin behind the header of 8 bytes.
        BOX_CONTAINER = 1,
        /// Fields of its own, and children behind them.
        BOX_FIELDS_AND_CHILDREN = 2,
        /// Consumed whole by its parser.
        BOX_WHOLE = 3,
        /// Media data.
        BOX_MEDIA = 4,
        /// Skipped whole.
        BOX_SKIPPED = 5,
    };

    /// The most bytes that wait for the rest of a box, and one more than the largest box that is
    /// not media data: 5 MiB.
    static constexpr unsigned int kBufferLimit = 0x500000;

    /// No content and no descriptors; no scheme id matches before init().
    CCENCMediaContent();
    ~CCENCMediaContent();
    CCENCMediaContent(const CCENCMediaContent&) = delete;
    CCENCMediaContent& operator=(const CCENCMediaContent&) = delete;

    /// Begins a content: forgets tracks, fragments, kept PSSH data, waiting bytes and the last
    /// error. Descriptors stay.
    /// @param avSeparated  true when audio and video are separate representations: `pssh` boxes are
    ///                     taken out of the `moov` and put into each `moof`. False when they are
    ///                     multiplexed: the `moov` gets the descriptor's
    /// @return 1
    int init(eDRM_TYPE drmType, bool avSeparated);

    /// Notes what kind of content this is. Nothing depends on it.
    /// @return 1
    int setMode(CONTENT_TYPE mode);
    /// @return what setMode() noted; 0 before
    CONTENT_TYPE getMode() const { return m_mode; }

    /// @name The stream
    /// @{

    /// Tells that the next process() brings a new segment: whatever is left of the one before is
    /// then dropped. Tracks, kept PSSH data and descriptors stay.
    void startSegment();

    /// Drops waiting bytes at once and lets the next process() begin a segment.
    void resetBuffer();

    /// Takes a chunk and emits every box that it completes.
    ///
    /// Media data (`mdat`, of any size the format knows, 64-bit and up-to-the-end included) passes
    /// through as it comes. `moov` and `moof` wait until they are whole and are then rewritten;
    /// other boxes wait and leave unchanged. A box is looked at once a byte behind its header is
    /// there; a call without bytes looks at what waits as the last of its segment.
    ///
    /// **Rewriting.** `moov` of separate media: its last `pssh` is retyped "free", once PSSH data
    /// is kept; the data and system id of each are kept. `moov` of multiplexed media: a `pssh`
    /// built from the descriptor replaces the last `pssh`, or becomes the last child where there is
    /// no `pssh`. In both kinds of media any `pssh` in front of the last one stays as it is.
    /// Samples that such a `moov` lists itself, behind what was put in, stay findable: its `stco`,
    /// `co64` and `saio` follow. `moof` of separate media without a `pssh`: one from the
    /// descriptor, or else from what was kept, becomes its last child, and each offset in `trun`
    /// and `saio` that leads behind the `moof` grows by its size. Those of a second or later track
    /// without a base of its own count from the end of the data before (ISO/IEC 14496-12,
    /// clause 8.8.7), which moves with them: they stay, as do those to samples in front of the
    /// `moof`. A base data offset in `tfhd` counts from the file's start, so in every `moof` it
    /// moves by what was inserted before since the segment began; it moves in place of the runs
    /// where the first has no offset.
    ///
    /// **After a bad box**, and when memory runs out, nothing of that box is emitted, what came
    /// before it in this call is, and the next call begins a segment. After ERROR_BUFFER_LIMIT
    /// nothing has changed and smaller chunks may follow.
    /// @param in      only read; null with `inLen` 0
    /// @param out     apart from `in`, with room for getUndecryptedData() + `inLen` bytes and, for
    ///                each `moov` and `moof` among them, a `pssh` box (its data and 32 bytes)
    /// @param outLen  receives the bytes written, after a failure too
    /// @return the bytes written; -1 after a failure, see getLastErrorCode()
    int process(int period, int representation, unsigned char* in, unsigned int inLen,
                unsigned char* out, unsigned int& outLen);

    /// Ends a segment: emits what can still be emitted and drops the rest, a box that was cut. The
    /// next process() then begins with nothing waiting.
    /// @param out     with room as for process() without input
    /// @param outLen  receives the bytes written
    /// @return 1; a bad box among the last bytes shows in getLastErrorCode() only
    int final(int period, int representation, unsigned char* out, unsigned int& outLen);

    /// @return bytes taken by process() and not emitted yet
    unsigned int getUndecryptedData();
    /// @return why process() or final() failed last since init(), one of the ERROR_ numbers
    int getLastErrorCode();
    /// @}

    /// @name Descriptors
    /// @{

    /// Stores the manifest's descriptors of a representation in place of those stored for it.
    /// @param descriptors  a `const std::list<dashengine::ContentProtection_t>*`, copied; null
    ///                     removes what was stored
    void setContentProtectionInfo(int period, int representation, void* descriptors);

    /// Looks for the first stored descriptor of a representation that isSystemIDMatched() accepts.
    /// @param out  receives a copy of it, and is untouched otherwise
    /// @return 1 when there is one, else 0
    int findContentProtection(int period, int representation, dashengine::ContentProtection_t& out);

    /// Whether a scheme id is one of the DRM system's. Letters count without case, and only as many
    /// characters are compared as the scheme id has: its beginning is enough, and the empty text
    /// matches too.
    bool isSystemIDMatched(const std::string& schemeId);

    /// @return the 16 bytes of the descriptor's system id, compared as above; empty when the scheme
    ///         id is not the DRM system's
    std::string getSystemID(dashengine::ContentProtection_t& cp);

    /// @return the descriptor's text of PSSH data: the first of the two that is not empty
    std::string getPsshData(dashengine::ContentProtection_t& cp);

    /// Decodes base64 (RFC 4648, section 4). Characters outside the alphabet count as zero bits.
    /// @return the bytes; no bytes for a length that is no multiple of 4. More than two "=" at the
    ///         end are logged, and then no byte is taken off for them
    std::string base64Decode(std::string text);
    /// @}

    /// @name The walk
    /// @{

    /// @param type  four characters as a number
    /// @return one of the BOX_ numbers
    int getBoxParsingMode(unsigned int type);

    /// Reads one box by the rules of its type; a `moof` with everything in it.
    ///
    /// The box's own size is trusted: the caller vouches for that many bytes.
    /// @param type  of the box, as a number
    /// @param box   its first byte; protection boxes are retyped in place
    /// @return the bytes consumed: for a box with children up to the first of them; -1 for a
    ///         structural error, and for a box whose track or sample entry is missing
    int parsingBox(unsigned int type, unsigned char* box);

    /// The same with the number of bytes there are; a box that claims more is an error.
    int parsingBox(unsigned int type, unsigned char* box, size_t bytes);

    /// Reads a `moof` into the moof track records of those of its tracks that are known.
    ///
    /// Sample data that only `saiz` and `saio` describe is read where they say, counted from the
    /// first byte of the `moof`; it must lie inside it. The boxes of a `traf` may come in any
    /// order, but `saiz`, `saio` and `senc` with no `tfhd` of a known track before them in the
    /// `moof` are an error. The size of the `moof` is trusted, as by parsingBox().
    /// @return the bytes walked, which is its size; -1 for a structural error, for auxiliary data
    ///         that is not where it is said to be, and when none of its tracks is known
    int moofBoxParsing(unsigned char* moof);

    /// Walks a run of whole boxes with all their children: an initialisation segment, a media
    /// segment, or a file of both. Records of the last `moof` stay.
    /// @param boxes  protection boxes are retyped in place
    /// @return `bytes`; -1 at the first structural error, a last box that is cut among them
    long long walkBoxes(unsigned char* boxes, size_t bytes);

    /// Finds the data offset of a track fragment. Its size is trusted, as by parsingBox().
    /// @return where the field lies in the `traf`; -1 when the first `trun` has no such field, when
    ///         there is no `trun` (both are logged), and for a structural error
    int parsingTrafBox(unsigned char* traf);

    /// Whether a `trun` carries a data offset. Its size is trusted, as by parsingBox().
    /// @return 1 when it does, else -1, which is logged
    int parsingTrunBox(unsigned char* trun);

    /// Reads the auxiliary data of the last moof track at its `saio` offsets and marks it resolved.
    ///
    /// With one offset the samples' records lie one behind another; with several there is one for
    /// each run. A record is the IV and, where it is longer, the subsamples.
    /// @param moof   the bytes in which all of it must lie, only read; offsets count from the first
    /// @param bytes  how many they are
    /// @return 1; -1 when it is not there, or does not fit the sizes `saiz` gave
    int getAuxiliaryDataFormat(unsigned char* moof, size_t bytes);

    /// Appends a track; the boxes of a `moov` behind it fill it.
    void addTrackData(const TRACK_FORMAT& track);
    /// Appends a moof track; the boxes of a `traf` behind it fill it.
    void addMoofTrackData(const MOOF_TRACK_FORMAT& track);

    /// @return the tracks of the last `moov`, in order of appearance
    const std::list<TRACK_FORMAT>& getTracks() const { return m_records.tracks; }
    /// @return the known tracks of the last `moof`, in order of appearance
    const std::list<MOOF_TRACK_FORMAT>& getMoofTracks() const { return m_records.moofTracks; }
    /// @return the data of the last `pssh` that had any, from the stream or the walk
    const std::string& getKeptPssh() const { return m_records.psshData; }
    /// @return the 16 bytes of that box's system id; empty before the first
    const std::string& getKeptSystemID() const { return m_records.psshSystemId; }
    /// @}

    /// @name Fields of a box, big-endian and in place; the caller vouches for the bytes
    /// @{

    /// Writes the size, bytes 0 to 3. The name is spelled so.
    void updataBoxSize(unsigned char* box, unsigned int size);
    /// Writes the type, bytes 4 to 7.
    void updateBoxType(unsigned char* box, unsigned int type);
    /// Reads a 32-bit field.
    unsigned int getAttributeValue(const unsigned char* field);
    /// Writes a 32-bit field.
    void updateAttributeValue(unsigned char* field, unsigned int value);
    /// @}

private:
    CONTENT_TYPE m_mode = CONTENT_TYPE();
    CENC_RECORDS m_records;
    std::unique_ptr<hascommon::detail::ContentDescriptors> m_descriptors;
    std::unique_ptr<hascommon::detail::FragmentWalk> m_walk;
    std::unique_ptr<hascommon::detail::SegmentRewriter> m_rewriter;
};
