// The public files: the walk against what others have read from them, and the stream.
#include <Hasutil/CCENCMediaContent.h>
#include <support/Base64Text.h>
#include <support/BoxBuilder.h>
#include <support/CencStream.h>
#include <support/ExactBytes.h>
#include <support/Samples.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace {

using namespace test::boxes;
using nlohmann::json;
using test::ExactBytes;

constexpr const char* kPlayReady = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";

std::vector<json> everyFile() {
    std::vector<json> files;
    const std::string folder = HAS_SAMPLES_DIR "/isobmff/expected";
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(test::sampleJson("isobmff/expected/" + entry.path().filename().string()));
    return files;
}

json childrenOf(const json& box) {
    return box.value("children", json::array());
}

/// Calls `visit` for every box of a type among boxes and what is in them.
void forBoxes(const json& boxes, const std::string& type,
              const std::function<void(const json&)>& visit) {
    for (const json& box : boxes) {
        if (box.value("type", "") == type)
            visit(box);
        forBoxes(childrenOf(box), type, visit);
    }
}
std::vector<json> allBoxes(const json& boxes, const std::string& type) {
    std::vector<json> found;
    forBoxes(boxes, type, [&found](const json& box) { found.push_back(box); });
    return found;
}
json firstBox(const json& boxes, const std::string& type) {
    const std::vector<json> found = allBoxes(boxes, type);
    return found.empty() ? json() : found.front();
}

std::string hex(const unsigned char* bytes, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

ExactBytes bytesOf(const ExactBytes& file, const json& box) {
    const unsigned char* const at = file.data() + box["offset"].get<size_t>();
    return ExactBytes::of(at, at + box["size"].get<size_t>());
}
bool isWhole(const json& box, const ExactBytes& file) {
    return box["offset"].get<size_t>() + box["size"].get<size_t>() <= file.size();
}

TEST(CCENCMediaContentSamples, TracksAreThoseOfTheFiles) {
    size_t protectedTracks = 0;
    for (const json& expected : everyFile()) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        const ExactBytes file = test::sample(expected["file"]);
        for (const json& moov : allBoxes(expected["boxes"], "moov")) {
            CCENCMediaContent content;
            const ExactBytes bytes = bytesOf(file, moov);
            ASSERT_EQ(content.walkBoxes(bytes.data(), bytes.size()),
                      static_cast<long long>(bytes.size()));
            auto track = content.getTracks().begin();
            for (const json& trak : allBoxes(childrenOf(moov), "trak")) {
                ASSERT_NE(track, content.getTracks().end());
                EXPECT_EQ(track->trackId, firstBox(childrenOf(trak), "tkhd")["track_ID"]);
                const std::string handler = firstBox(childrenOf(trak), "hdlr")["handler"];
                EXPECT_EQ(track->handlerType, readU32(text(handler), 0));
                const json tenc = firstBox(childrenOf(trak), "tenc");
                EXPECT_EQ(track->encrypted, tenc.is_null() ? 0U : 1U);
                if (!tenc.is_null()) {
                    ++protectedTracks;
                    EXPECT_EQ(track->defaultIsProtected & 0xFF, tenc["isProtected"]);
                    EXPECT_EQ(track->perSampleIvSize, tenc["per_sample_iv_size"]);
                    EXPECT_EQ(hex(track->defaultKid, 16), tenc["KID"]);
                }
                ++track;
            }
            EXPECT_EQ(track, content.getTracks().end());
        }
    }
    EXPECT_GE(protectedTracks, 5U);
}

/// Makes the tracks of a fragment known, with the IVs that its samples have.
void addTracks(CCENCMediaContent& content, const json& moof) {
    for (const json& traf : allBoxes(childrenOf(moof), "traf")) {
        TRACK_FORMAT track;
        track.trackId = firstBox(childrenOf(traf), "tfhd")["track_ID"];
        const json senc = firstBox(childrenOf(traf), "senc");
        track.perSampleIvSize = senc.is_null() ? 0 : senc["iv_size_used"].get<unsigned char>();
        content.addTrackData(track);
    }
}

void expectSizes(const MOOF_TRACK_FORMAT& track, const json& traf) {
    size_t sample = 0;
    for (const json& trun : allBoxes(childrenOf(traf), "trun")) {
        const size_t end = sample + trun["sample_count"].get<size_t>();
        ASSERT_LE(end, track.samples.size());
        for (const json& size : trun.value("sample_sizes", json::array())) {
            if (!size.is_number()) // the list goes on
                break;
            EXPECT_EQ(track.samples[sample++].size, size);
        }
        sample = end;
    }
    EXPECT_EQ(track.sampleCount, sample);
}

/// @return the samples compared
size_t expectEncryption(const MOOF_TRACK_FORMAT& track, const json& traf) {
    const json senc = firstBox(childrenOf(traf), "senc");
    if (senc.is_null())
        return 0;
    EXPECT_EQ(track.samples.size(), senc["sample_count"]);
    size_t at = 0;
    for (const json& entry : senc["entries"]) {
        if (!entry.is_object())
            continue;
        const SAMPLE_FORMAT& sample = track.samples.at(at++);
        EXPECT_EQ(hex(sample.iv, sample.ivSize), entry["iv"]);
        const json subsamples = entry.value("subsamples", json::array());
        EXPECT_EQ(sample.subsampleCount, subsamples.size());
        for (size_t i = 0; i < subsamples.size(); ++i) {
            const SUBSAMPLE_FORMAT& it = track.subsamples.at(sample.firstSubsample + i);
            EXPECT_EQ(it.clearBytes, subsamples[i][0]);
            EXPECT_EQ(it.protectedBytes, subsamples[i][1]);
        }
    }
    return at;
}

/// Walks every fragment that is whole, after `prepare`.
size_t walkFragments(const std::function<void(const ExactBytes&, const json&)>& prepare) {
    size_t compared = 0;
    for (const json& expected : everyFile()) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        const ExactBytes file = test::sample(expected["file"]);
        for (const json& moof : allBoxes(expected["boxes"], "moof")) {
            if (!isWhole(moof, file))
                continue;
            CCENCMediaContent content;
            addTracks(content, moof);
            const ExactBytes bytes = bytesOf(file, moof);
            prepare(bytes, moof);
            EXPECT_EQ(content.moofBoxParsing(bytes.data()), bytes.intSize());
            auto track = content.getMoofTracks().begin();
            for (const json& traf : allBoxes(childrenOf(moof), "traf")) {
                if (track == content.getMoofTracks().end()) {
                    ADD_FAILURE() << "a track is missing";
                    break;
                }
                expectSizes(*track, traf);
                compared += expectEncryption(*track, traf);
                ++track;
            }
        }
    }
    return compared;
}

TEST(CCENCMediaContentSamples, SamplesAndSubsamplesAreThoseOfTheFiles) {
    EXPECT_GT(walkFragments([](const ExactBytes&, const json&) {}), 100U);
}

TEST(CCENCMediaContentSamples, OffsetsLeadToTheSameAsTheSampleEncryptionBox) {
    const size_t compared = walkFragments([](const ExactBytes& bytes, const json& moof) {
        for (const json& senc : allBoxes(childrenOf(moof), "senc")) {
            const size_t at = senc["offset"].get<size_t>() - moof["offset"].get<size_t>();
            std::copy_n("uuid", 4, bytes.data() + at + 4); // now only `saio` tells where IVs are
        }
    });
    EXPECT_GT(compared, 100U);
}

TEST(CCENCMediaContentSamples, FragmentsKeepTheirPssh) {
    const std::string folder = "isobmff/shaka/live-profile-and-key-rotation__bear-640x360-audio-";
    const ExactBytes init = test::sample(folder + "init.mp4");
    const ExactBytes segment = test::sample(folder + "2.m4s");
    CCENCMediaContent content;
    EXPECT_EQ(content.walkBoxes(init.data(), init.size()), static_cast<long long>(init.size()));
    EXPECT_EQ(content.walkBoxes(segment.data(), segment.size()),
              static_cast<long long>(segment.size()));
    EXPECT_EQ(content.getMoofTracks().size(), 1U);
}

class StreamedSamples : public testing::TestWithParam<bool> {
protected:
    CCENCMediaContent content;

    StreamedSamples() { content.init(eDRM_TYPE_PLAYREADY, GetParam()); }

    void describe(const Bytes& psshData) {
        std::list<dashengine::ContentProtection_t> list(1);
        list.front().schemeIdUri = kPlayReady;
        list.front().pssh = test::base64Text(psshData);
        content.setContentProtectionInfo(1, 1, &list);
    }
};

INSTANTIATE_TEST_SUITE_P(SeparateAndMuxed, StreamedSamples, testing::Bool());

TEST_P(StreamedSamples, LeaveInAnyPiecesAsTheyLeaveWhole) {
    describe(counting(20));
    for (const json& expected : everyFile()) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        const Bytes file = test::sample(expected["file"]).copy();
        const Bytes whole = test::rewrite(content, file, file.size(), 512).bytes;
        for (const size_t piece : {1U, 7U, 188U, 1460U}) {
            const test::Emitted emitted = test::rewrite(content, file, piece, 512);
            EXPECT_TRUE(emitted.isWhole);
            EXPECT_EQ(emitted.bytes, whole) << "in pieces of " << piece;
        }
    }
}

TEST_P(StreamedSamples, LeaveAsTheyCameWhenNothingIsKnown) {
    for (const json& expected : everyFile()) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        const ExactBytes sample = test::sample(expected["file"]);
        Bytes file = sample.copy();
        const json& last = expected["boxes"].back();
        if (!isWhole(last, sample)) // a box that is cut is never given out
            file.resize(last["offset"]);
        content.init(eDRM_TYPE_PLAYREADY, false);
        EXPECT_EQ(test::rewrite(content, sample.copy(), 1000).bytes, file);
    }
}

/// `bytes` without those of one box.
Bytes without(const Bytes& bytes, const json& box) {
    const auto from = bytes.begin() + box["offset"].get<std::ptrdiff_t>();
    Bytes rest(bytes.begin(), from);
    rest.insert(rest.end(), from + box["size"].get<std::ptrdiff_t>(), bytes.end());
    return rest;
}

TEST(CCENCMediaContentSamples, APsshGoesIntoTheFragmentAsOthersPutIt) {
    const std::string made = "isobmff/pssh-insert/shaka_keyrot_nopssh_audio2_moof.m4s";
    const json expected =
        test::sampleJson("isobmff/expected/pssh-insert_shaka_keyrot_nopssh_audio2_moof.m4s.json");
    const json box = firstBox(expected["boxes"], "pssh");
    CCENCMediaContent content;
    content.init(eDRM_TYPE_PLAYREADY, true);
    std::list<dashengine::ContentProtection_t> list(1);
    list.front().schemeIdUri = kPlayReady;
    list.front().pssh = test::base64Text(counting(box["size"].get<size_t>() - 32));
    content.setContentProtectionInfo(1, 1, &list);
    const Bytes in = test::sample("isobmff/shaka/live-profile-and-key-rotation-and-no-pssh-in-"
                                  "stream__bear-640x360-audio-2.m4s")
                         .copy();
    const Bytes out = test::rewrite(content, in, 100).bytes;
    EXPECT_EQ(out.size(), in.size() + box["size"].get<size_t>());
    EXPECT_EQ(typeAt(out, box["offset"]), "pssh");
    // The other program counts the box in its index; here the index goes out before the fragment.
    const json index = firstBox(expected["boxes"], "sidx");
    EXPECT_EQ(without(without(out, box), index),
              without(without(test::sample(made).copy(), box), index));
}

TEST(CCENCMediaContentSamples, APsshGoesIntoTheMoovAsOthersPutIt) {
    const std::string made = "isobmff/pssh-insert/shaka_keyrot_audio_init_moov.mp4";
    const json expected =
        test::sampleJson("isobmff/expected/pssh-insert_shaka_keyrot_audio_init_moov.mp4.json");
    const std::vector<json> boxes = allBoxes(expected["boxes"], "pssh");
    ASSERT_EQ(boxes.size(), 2U);
    json both = boxes[0]; // ours is one box of the size of theirs
    both["size"] = boxes[0]["size"].get<size_t>() + boxes[1]["size"].get<size_t>();
    CCENCMediaContent content;
    content.init(eDRM_TYPE_PLAYREADY, false);
    std::list<dashengine::ContentProtection_t> list(1);
    list.front().schemeIdUri = kPlayReady;
    list.front().pssh = test::base64Text(counting(both["size"].get<size_t>() - 32));
    content.setContentProtectionInfo(1, 1, &list);
    const Bytes in =
        test::sample("isobmff/shaka/live-profile-and-key-rotation__bear-640x360-audio-init.mp4")
            .copy();
    const Bytes out = test::rewrite(content, in, 100).bytes;
    EXPECT_EQ(without(out, both), without(test::sample(made).copy(), both));
}

} // namespace
