// The walk over Common Encryption boxes: what it finds must be consistent.
#include <Hasutil/CCENCMediaContent.h>
#include <Input.h>
#include <support/ExactBytes.h>

#include <numeric>

namespace {

using fuzz::Input;
using fuzz::require;
using test::ExactBytes;

void addTracks(CCENCMediaContent& content) {
    for (const unsigned int id : {1U, 2U, 3U}) {
        TRACK_FORMAT track;
        track.trackId = id;
        track.perSampleIvSize = static_cast<unsigned char>(8 * (id - 1)); // 0, 8 and 16
        content.addTrackData(track);
    }
}

void check(const MOOF_TRACK_FORMAT& track) {
    require(track.samples.size() == track.sampleCount);
    const auto& runs = track.runSampleCounts;
    require(std::accumulate(runs.begin(), runs.end(), 0ULL) == track.sampleCount);
    const size_t words = track.saioOffsets.size();
    require(words == track.saioCount || words == 2ULL * track.saioCount);
    for (const SAMPLE_FORMAT& sample : track.samples) {
        require(sample.ivSize <= sizeof sample.iv);
        require(sample.subsampleCount == 0 ||
                1ULL * sample.firstSubsample + sample.subsampleCount <= track.subsamples.size());
    }
}

void check(const CCENCMediaContent& content) {
    require(content.getKeptPssh().empty() == content.getKeptSystemID().empty());
    for (const MOOF_TRACK_FORMAT& track : content.getMoofTracks())
        check(track);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const unsigned int how = input.byte();
    const ExactBytes bytes(input.bytes(1 << 16));
    const std::vector<unsigned char> before = bytes.copy();
    CCENCMediaContent content;
    addTracks(content);
    const auto whole = static_cast<long long>(bytes.size());
    const long long walked = content.walkBoxes(bytes.data(), bytes.size());
    require(walked == whole || walked == -1);
    check(content);
    if ((how & 1U) == 0)
        return 0;
    // Walk again over the boxes whose types were changed; then call each parser alone on any bytes.
    content.walkBoxes(bytes.data(), bytes.size());
    check(content);
    for (const char* type : {"moov", "tkhd", "hdlr", "stsd", "encv", "enca", "frma", "sinf", "tenc",
                             "pssh", "tfhd", "trun", "saiz", "saio", "senc", "moof", "free"}) {
        const ExactBytes copy(before);
        unsigned int number = 0;
        for (int i = 0; i < 4; ++i)
            number = number << 8 | static_cast<unsigned char>(type[i]);
        CCENCMediaContent one;
        addTracks(one);
        one.parsingBox(number, copy.data(), copy.size());
        check(one);
    }
    return 0;
}
