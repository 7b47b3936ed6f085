#include "FragmentRun.h"

#include <algorithm>
#include <numeric>

namespace hastool {
namespace {

// Flags of a track fragment header and of a track run.
constexpr uint64_t kBaseOffset = 0x1;
constexpr uint64_t kDescription = 0x2;
constexpr uint64_t kDefaultDuration = 0x8;
constexpr uint64_t kDefaultSize = 0x10;
constexpr uint64_t kDefaultFlags = 0x20;
constexpr uint64_t kMoofBase = 0x20000;
constexpr uint64_t kDataOffset = 0x1;
constexpr uint64_t kFirstFlags = 0x4;
constexpr uint64_t kDuration = 0x100;
constexpr uint64_t kSize = 0x200;
constexpr uint64_t kFlags = 0x400;
constexpr uint64_t kOffset = 0x800;

/// Reads numbers that are there only if flags say so. A number that is missing at the end makes the
/// box unreadable.
class FlaggedReader {
public:
    explicit FlaggedReader(std::string_view content)
        : m_reader(content)
        , m_version(static_cast<unsigned>(m_reader.number(1).value_or(0)))
        , m_flags(m_reader.number(3).value_or(0)) {}

    unsigned version() const { return m_version; }
    bool has(uint64_t flag) const { return (m_flags & flag) != 0; }
    bool isGood() const { return m_isGood; }
    uint64_t number(size_t size) {
        const auto value = m_reader.number(size);
        m_isGood = m_isGood && value;
        return value.value_or(0);
    }
    uint32_t optional(uint64_t flag, uint32_t otherwise) {
        return has(flag) ? static_cast<uint32_t>(number(4)) : otherwise;
    }

private:
    ByteReader m_reader;
    unsigned m_version;
    uint64_t m_flags;
    bool m_isGood = true;
};

/// @return the defaults of the track fragment's samples; nothing when it cannot be used
std::optional<InitTrack> readHeader(const BoxView& box, const InitTracks& tracks,
                                    FragmentRun& run) {
    FlaggedReader reader(box.content);
    run.track = static_cast<uint32_t>(reader.number(4));
    const auto track = tracks.find(run.track);
    if (track == tracks.end())
        return std::nullopt;
    InitTrack defaults = track->second;
    if (reader.has(kBaseOffset)) {
        run.base = reader.number(8);
        run.isPlain = false;
    }
    run.isMoofBase = reader.has(kMoofBase);
    if (reader.has(kDescription))
        reader.number(4);
    defaults.duration = reader.optional(kDefaultDuration, defaults.duration);
    defaults.size = reader.optional(kDefaultSize, defaults.size);
    defaults.flags = reader.optional(kDefaultFlags, defaults.flags);
    return reader.isGood() ? std::optional(defaults) : std::nullopt;
}

bool readRun(const BoxView& box, const InitTrack& defaults, FragmentRun& run) {
    FlaggedReader reader(box.content);
    const uint64_t count = reader.number(4);
    run.version = reader.version();
    const auto offset = static_cast<int32_t>(reader.optional(kDataOffset, 0));
    if (run.runs++ == 0)
        run.dataOffset = offset;
    run.isPlain = run.isPlain && reader.has(kDataOffset);
    run.pieces.push_back({run.samples.size(), std::nullopt});
    if (reader.has(kDataOffset))
        run.pieces.back().offset = offset;
    const bool hasFirstFlags = reader.has(kFirstFlags);
    const uint32_t firstFlags = reader.optional(kFirstFlags, defaults.flags);
    if (count > kMaxFragmentSamples - run.samples.size())
        return false;
    for (uint64_t i = 0; i < count && reader.isGood(); ++i) {
        FragmentSample sample;
        sample.duration = reader.optional(kDuration, defaults.duration);
        sample.size = reader.optional(kSize, defaults.size);
        sample.flags = reader.optional(kFlags, defaults.flags);
        if (i == 0 && hasFirstFlags)
            sample.flags = firstFlags;
        sample.offset = reader.optional(kOffset, 0);
        run.samples.push_back(sample);
    }
    return reader.isGood();
}

std::optional<FragmentRun> readTrackFragment(std::string_view traf, const InitTracks& tracks) {
    FragmentRun run;
    std::optional<InitTrack> defaults;
    while (const auto box = takeBox(traf)) {
        if (box->type == "tfhd") {
            defaults = readHeader(*box, tracks, run);
        } else if (box->type == "tfdt") {
            FlaggedReader reader(box->content);
            run.decodeTime = reader.number(reader.version() == 1 ? 8 : 4);
            run.hasDecodeTime = reader.isGood();
        } else if (box->type == "trun") {
            if (!defaults || !readRun(*box, *defaults, run))
                return std::nullopt;
        } else {
            run.isPlain = false;
        }
    }
    return defaults ? std::optional(std::move(run)) : std::nullopt;
}

} // namespace

uint64_t FragmentRun::duration() const {
    return std::accumulate(
        samples.begin(), samples.end(), uint64_t{0},
        [](uint64_t sum, const FragmentSample& it) { return sum + it.duration; });
}

std::vector<FragmentRun> readFragmentRuns(std::string_view moof, const InitTracks& tracks) {
    std::vector<FragmentRun> runs;
    while (const auto box = takeBox(moof)) {
        if (box->type != "traf")
            continue;
        if (auto run = readTrackFragment(box->content, tracks))
            runs.push_back(std::move(*run));
    }
    return runs;
}

double fragmentSeconds(std::string_view moof, const InitTracks& tracks) {
    double longest = 0;
    for (const FragmentRun& run : readFragmentRuns(moof, tracks))
        longest =
            std::max(longest, static_cast<double>(run.duration()) / tracks.at(run.track).timescale);
    return longest;
}

} // namespace hastool
