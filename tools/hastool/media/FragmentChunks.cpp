#include "FragmentChunks.h"

#include "FragmentRun.h"

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/BoxView.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace hastool {
namespace {

constexpr uint32_t kNotSync = 0x10000;    // sample flags
constexpr uint32_t kBaseIsMoof = 0x20000; // track fragment header
constexpr uint32_t kEverything = 0xF01;   // track run: a data offset, and all of each sample
constexpr double kTolerance = 0.0005;     // seconds
constexpr uint32_t kDataHeader = 8;       // of an mdat

/// Samples of a run that become a chunk.
struct Stretch {
    size_t first = 0;
    size_t end = 0;
    uint64_t time = 0; ///< before the first, since the run's begin
    uint64_t duration = 0;
    size_t begin = 0; ///< of its bytes among the run's
    size_t size = 0;
};

/// A chunk ends with the first sample that reaches a multiple of the length.
std::vector<Stretch> share(const FragmentRun& run, double length, uint32_t timescale) {
    std::vector<Stretch> all(1);
    double limit = length;
    for (size_t i = 0; i < run.samples.size(); ++i) {
        Stretch& last = all.back();
        last.duration += run.samples[i].duration;
        last.size += run.samples[i].size;
        last.end = i + 1;
        const double time = static_cast<double>(last.time + last.duration) / timescale;
        if (time < limit - kTolerance || i + 1 == run.samples.size())
            continue;
        limit += length;
        all.push_back({i + 1, i + 1, last.time + last.duration, 0, last.begin + last.size, 0});
    }
    return all;
}

std::string fragmentOf(const FragmentRun& run, const Stretch& stretch, uint32_t sequence,
                       std::string_view data) {
    const auto moof = [&](uint32_t offset) {
        BoxBuilder samples;
        samples.u32(static_cast<uint32_t>(stretch.end - stretch.first)).u32(offset);
        for (size_t i = stretch.first; i < stretch.end; ++i) {
            const FragmentSample& it = run.samples[i];
            samples.u32(it.duration).u32(it.size).u32(it.flags).u32(it.offset);
        }
        BoxBuilder traf;
        traf.bytes(BoxBuilder().u32(run.track).fullBox("tfhd", 0, kBaseIsMoof))
            .bytes(BoxBuilder().u64(run.decodeTime + stretch.time).fullBox("tfdt", 1))
            .bytes(samples.fullBox("trun", run.version, kEverything));
        return BoxBuilder()
            .bytes(BoxBuilder().u32(sequence).fullBox("mfhd"))
            .bytes(traf.box("traf"))
            .box("moof");
    };
    const auto size = static_cast<uint32_t>(moof(0).size());
    return moof(size + kDataHeader) + BoxBuilder().bytes(data).box("mdat");
}

/// @param whole  the moof and the mdat behind it. @return nothing when they have to stay whole
std::optional<std::vector<MediaChunk>> cut(std::string_view whole, const BoxView& moof,
                                           const InitTracks& tracks, double seconds) {
    const auto runs = readFragmentRuns(moof.content, tracks);
    const auto header = findBox(moof.content, "mfhd");
    if (runs.size() != 1 || runs[0].runs != 1 || !runs[0].isPlain || runs[0].samples.empty() ||
        !header)
        return std::nullopt;
    const FragmentRun& run = runs[0];
    const uint32_t timescale = tracks.at(run.track).timescale;
    const auto stretches = share(run, seconds, timescale);
    const size_t size = stretches.back().begin + stretches.back().size;
    const auto behind = static_cast<int64_t>(moof.whole.size());
    if (run.dataOffset < behind || static_cast<uint64_t>(run.dataOffset) > whole.size() ||
        size > whole.size() - static_cast<size_t>(run.dataOffset))
        return std::nullopt;
    ByteReader reader(header->content);
    reader.skip(4);
    auto sequence = static_cast<uint32_t>(reader.number(4).value_or(0));
    const std::string_view data = whole.substr(static_cast<size_t>(run.dataOffset));
    std::vector<MediaChunk> chunks;
    for (const Stretch& it : stretches)
        chunks.push_back({fragmentOf(run, it, sequence++, data.substr(it.begin, it.size)),
                          static_cast<double>(it.duration) / timescale,
                          (run.samples[it.first].flags & kNotSync) == 0});
    return chunks;
}

} // namespace

std::vector<MediaChunk> cutFragments(std::string_view segment, const InitTracks& tracks,
                                     double seconds) {
    std::vector<MediaChunk> chunks;
    std::string before; // boxes that belong to the chunk behind them
    std::string_view rest = segment;
    while (const auto box = takeBox(rest)) {
        const std::string_view from(box->whole.data(), box->whole.size() + rest.size());
        std::string_view behind = rest;
        const auto data = box->type == "moof" ? takeBox(behind) : std::nullopt;
        if (!data || data->type != "mdat") {
            if (box->type != "sidx")
                before.append(box->whole);
            continue;
        }
        const std::string_view whole = from.substr(0, box->whole.size() + data->whole.size());
        auto cutOff = cut(whole, *box, tracks, seconds);
        if (!cutOff)
            cutOff = {{std::string(whole), fragmentSeconds(box->content, tracks), chunks.empty()}};
        cutOff->front().bytes.insert(0, std::exchange(before, {}));
        std::move(cutOff->begin(), cutOff->end(), std::back_inserter(chunks));
        rest = behind;
    }
    before.append(rest);
    if (chunks.empty())
        chunks.push_back({"", 0, true});
    chunks.back().bytes.append(before);
    return chunks;
}

} // namespace hastool
