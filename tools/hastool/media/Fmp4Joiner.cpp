#include "Fmp4Joiner.h"

#include <hastool/base/BoxView.h>

#include <limits>
#include <vector>

namespace hastool {
namespace {

constexpr size_t kVisualSampleEntry = 78; // fields of a picture track's entry before its boxes
constexpr size_t kSampleTable = 8;        // version, flags and entry count of a table of entries
constexpr uint64_t kBaseOffset = 0x1;     // track fragment header: a file offset is given
constexpr uint64_t kDataOffset = 0x1;     // track run: where its data begins
constexpr uint64_t kFirstFlags = 0x4;     // track run: flags of its first sample
constexpr uint64_t kSampleDuration = 0x100;
constexpr uint64_t kSampleSize = 0x200;

std::optional<BoxView> findPath(std::string_view bytes,
                                std::initializer_list<std::string_view> path) {
    std::optional<BoxView> box;
    for (const std::string_view type : path) {
        box = findBox(bytes, type);
        if (!box)
            return std::nullopt;
        bytes = box->content;
    }
    return box;
}

uint64_t numberAt(std::string_view bytes, size_t offset, size_t size) {
    ByteReader reader(bytes);
    return reader.skip(offset) ? reader.number(size).value_or(0) : 0;
}

void putNumber(std::string& bytes, size_t offset, size_t size, uint64_t value) {
    for (size_t i = size; i-- > 0; value >>= 8)
        bytes[offset + i] = static_cast<char>(value & 0xFF);
}

/// A place in a segment that holds a number which the insertion changes.
struct Field {
    size_t offset;
    size_t size;
    uint64_t value;
};

/// One track run of a movie fragment.
struct Run {
    Field dataOffset;
    std::optional<Field> firstSize; ///< of the first sample; nothing where sizes are not given
    uint32_t track;
};

std::optional<Run> readRun(std::string_view segment, const BoxView& box, uint32_t track) {
    const auto at = static_cast<size_t>(box.content.data() - segment.data());
    const uint64_t flags = numberAt(box.content, 1, 3);
    if ((flags & kDataOffset) == 0 || numberAt(box.content, 4, 4) == 0 || box.content.size() < 12)
        return std::nullopt;
    Run run{{at + 8, 4, numberAt(box.content, 8, 4)}, std::nullopt, track};
    size_t sizeAt = 12;
    sizeAt += (flags & kFirstFlags) != 0 ? 4 : 0;
    sizeAt += (flags & kSampleDuration) != 0 ? 4 : 0;
    if ((flags & kSampleSize) != 0 && sizeAt + 4 <= box.content.size())
        run.firstSize = Field{at + sizeAt, 4, numberAt(box.content, sizeAt, 4)};
    return run;
}

/// All runs of a fragment; nothing unless the data offset of each counts from the fragment's begin.
std::optional<std::vector<Run>> readRuns(std::string_view segment, const BoxView& moof) {
    std::vector<Run> runs;
    std::string_view rest = moof.content;
    while (const auto traf = takeBox(rest)) {
        if (traf->type != "traf")
            continue;
        const auto header = findBox(traf->content, "tfhd");
        if (!header || (numberAt(header->content, 1, 3) & kBaseOffset) != 0)
            return std::nullopt;
        const auto track = static_cast<uint32_t>(numberAt(header->content, 4, 4));
        std::string_view boxes = traf->content;
        while (const auto box = takeBox(boxes)) {
            if (box->type != "trun")
                continue;
            const auto run = readRun(segment, *box, track);
            if (!run)
                return std::nullopt;
            runs.push_back(*run);
        }
    }
    return runs;
}

/// Inserts bytes before the first sample of a track's first run and corrects all sizes and offsets
/// that this changes. @return false when the fragment holds nothing of the track, or a number
/// cannot be corrected
bool insert(std::string& segment, const BoxView& moof, const BoxView& mdat, uint32_t track,
            const std::string& bytes) {
    const auto runs = readRuns(segment, moof);
    const Run* target = nullptr;
    for (size_t i = 0; runs && target == nullptr && i < runs->size(); ++i)
        target = (*runs)[i].track == track ? &(*runs)[i] : nullptr;
    if (target == nullptr || !target->firstSize)
        return false;
    const auto moofAt = static_cast<size_t>(moof.whole.data() - segment.data());
    const auto mdatAt = static_cast<size_t>(mdat.whole.data() - segment.data());
    const size_t dataAt = mdatAt + (mdat.whole.size() - mdat.content.size());
    const uint64_t place = moofAt + target->dataOffset.value;
    const bool isLong = mdat.whole.size() - mdat.content.size() == 16;
    if (place < dataAt || place > mdatAt + mdat.whole.size() ||
        (!isLong && mdat.whole.size() + bytes.size() > std::numeric_limits<uint32_t>::max()))
        return false;
    putNumber(segment, target->firstSize->offset, 4, target->firstSize->value + bytes.size());
    for (const Run& run : *runs) {
        if (run.dataOffset.value > target->dataOffset.value)
            putNumber(segment, run.dataOffset.offset, 4, run.dataOffset.value + bytes.size());
    }
    putNumber(segment, isLong ? mdatAt + 8 : mdatAt, isLong ? 8 : 4,
              mdat.whole.size() + bytes.size());
    segment.insert(static_cast<size_t>(place), bytes);
    return true;
}

} // namespace

void Fmp4Joiner::setInit(std::string_view init) {
    m_video = findVideo(init);
    if (m_inits++ == 0)
        m_first = m_video;
}

std::string Fmp4Joiner::adapt(std::string segment) const {
    if (m_inits < 2 || !m_video || !m_first || m_video->lengthSize != m_first->lengthSize)
        return segment;
    std::string_view rest = segment;
    std::optional<BoxView> moof;
    while (const auto box = takeBox(rest)) {
        const auto at = static_cast<size_t>(box->whole.data() - segment.data());
        if (box->type == "sidx")
            segment.replace(at + 4, 4, "free"); // an index whose sizes are no longer true
        else if (box->type == "moof")
            moof = box;
        else if (box->type == "mdat" && moof &&
                 insert(segment, *moof, *box, m_first->track, m_video->parameterSets))
            break;
    }
    return segment;
}

std::optional<Fmp4Joiner::Video> Fmp4Joiner::findVideo(std::string_view init) {
    const auto moov = findBox(init, "moov");
    std::string_view tracks = moov ? moov->content : std::string_view();
    while (const auto track = takeBox(tracks)) {
        const auto table = findPath(track->content, {"mdia", "minf", "stbl", "stsd"});
        const auto header = findBox(track->content, "tkhd");
        if (track->type != "trak" || !table || !header || table->content.size() < kSampleTable)
            continue;
        const auto entry = findBox(table->content.substr(kSampleTable), "avc1");
        if (!entry || entry->content.size() < kVisualSampleEntry)
            continue;
        const auto box = findBox(entry->content.substr(kVisualSampleEntry), "avcC");
        auto video = box ? readConfiguration(box->content) : std::nullopt;
        if (!video)
            continue;
        const bool isLong = numberAt(header->content, 0, 1) == 1;
        video->track = static_cast<uint32_t>(numberAt(header->content, isLong ? 20 : 12, 4));
        return video;
    }
    return std::nullopt;
}

std::optional<Fmp4Joiner::Video> Fmp4Joiner::readConfiguration(std::string_view box) {
    ByteReader reader(box);
    reader.skip(4);
    const auto lengths = reader.number(1);
    if (!lengths)
        return std::nullopt;
    Video video;
    video.lengthSize = static_cast<unsigned>(*lengths & 3) + 1;
    for (const uint64_t mask : {uint64_t{0x1F}, uint64_t{0xFF}}) { // sequence, then picture sets
        const uint64_t count = reader.number(1).value_or(0) & mask;
        for (uint64_t i = 0; i < count; ++i) {
            const auto unit = reader.bytes(static_cast<size_t>(reader.number(2).value_or(0)));
            if (!unit || unit->empty())
                return std::nullopt;
            std::string length(video.lengthSize, '\0');
            putNumber(length, 0, length.size(), unit->size());
            video.parameterSets += length;
            video.parameterSets += *unit;
        }
    }
    return video;
}

} // namespace hastool
