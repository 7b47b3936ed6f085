// Faults in the manifests of presentations that are good otherwise, media and all: each is told of,
// and nothing else is.
#include "CheckedFolder.h"

#include <ostream>

#include <gtest/gtest.h>

namespace {

using namespace hastool;

struct Seed {
    const char* name; ///< of the test
    const char* presentation;
    const char* from;
    const char* to;
    const char* code;
};

std::ostream& operator<<(std::ostream& stream, const Seed& seed) {
    return stream << seed.code;
}

class SeededManifest : public testing::TestWithParam<Seed> {};

TEST_P(SeededManifest, IsToldOfAlone) {
    const Seed& seed = GetParam();
    CheckedFolder folder(seed.presentation);
    const bool isSmooth = std::string(seed.presentation) == "smooth";
    const std::string manifest = isSmooth ? "Manifest" : "manifest.mpd";
    folder.replace(manifest, seed.from, seed.to);
    const Findings findings = folder.check(manifest);
    EXPECT_EQ(codesOf(findings), std::set<std::string>{seed.code}) << linesOf(findings);
}

const Seed kSeeds[] = {
    {"NoCodecs", "dash", "codecs=\"avc1.4d401f\" bandwidth=\"140000\"", "bandwidth=\"140000\"",
     "dash-codecs-missing"},
    {"NoSize", "dash", " width=\"160\" height=\"90\"", "", "dash-resolution-missing"},
    {"NoMinBufferTime", "dash", "minBufferTime=\"PT4.0S\"", "", "dash-attribute-missing"},
    {"BadRatio", "dash", "par=\"16:9\"", "par=\"16/9\"", "dash-attribute-value"},
    {"OtherNamespace", "dash", "xmlns=\"urn:mpeg:dash:schema:mpd:2011\"",
     "xmlns=\"urn:mpeg:dash:schema:mpd:2012\"", "dash-namespace"},
    {"LongSegments", "dash", "maxSegmentDuration=\"PT2.0S\"", "maxSegmentDuration=\"PT1.0S\"",
     "dash-long-segment"},
    {"Overlap", "dash", "<S t=\"0\" d=\"25600\" r=\"20\" />",
     "<S t=\"0\" d=\"25600\" r=\"9\" /><S t=\"255950\" d=\"25600\" r=\"10\" />",
     "dash-timeline-overlap"},
    {"NotAligned", "dash", "segmentAlignment=\"true\" bitstreamSwitching=\"true\"", "",
     "dash-alignment-missing"},
    {"NoKeyId", "dash-cenc", "cenc:default_KID=\"a0a1a2a3-a4a5-a6a7-a8a9-aaabacadaeaf\"", "",
     "dash-key-id-missing"},
    {"NotBase64", "dash-cenc", "<cenc:pssh>AAAB", "<cenc:pssh>!AAB", "dash-pssh"},
    {"BothIdentifiers", "dash-cenc", "media=\"$RepresentationID$/$Number$.m4s\"",
     "media=\"$RepresentationID$/$Number$.m4s?t=$Time$\"", "dash-template-both"},
    {"OtherVersion", "smooth", "MajorVersion=\"2\"", "MajorVersion=\"1\"", "smooth-version"},
    {"TooManyChunks", "smooth", "Chunks=\"21\"", "Chunks=\"22\"", "smooth-chunk-count"},
    {"TooManyQualities", "smooth", "QualityLevels=\"5\"", "QualityLevels=\"6\"",
     "smooth-quality-count"},
    {"UnknownCodec", "smooth", "FourCC=\"H264\"", "FourCC=\"X264\"", "smooth-fourcc"},
    {"IndexTwice", "smooth", "Index=\"1\"", "Index=\"0\"", "smooth-index"},
};

INSTANTIATE_TEST_SUITE_P(Check, SeededManifest, testing::ValuesIn(kSeeds),
                         [](const testing::TestParamInfo<Seed>& it) { return it.param.name; });

} // namespace
