// Protected files through the box rewriter still decrypt in another program.
#include <Hasutil/CCENCMediaContent.h>
#include <support/Base64Text.h>
#include <support/BoxBuilder.h>
#include <support/CencPackager.h>
#include <support/CencStream.h>
#include <support/Child.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace test::boxes;

constexpr const char* kKey = "00112233445566778899aabbccddeeff";
constexpr const char* kOtherKey = "ff112233445566778899aabbccddeeff";
constexpr const char* kPlayReady = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
const Bytes kKeyBytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                         0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
constexpr size_t kPsshData = 50;

/// Two seconds of sound and picture, with a key picture each half a second.
/// @param settings  of the file's form
Bytes mediaFile(const test::TempDir& folder, const std::vector<std::string>& settings) {
    const std::string path = folder.file("media.mp4");
    std::vector<std::string> command = {
        "ffmpeg",  "-v",        "error",    "-nostdin",
        "-f",      "lavfi",     "-i",       "testsrc2=s=160x90:r=25",
        "-f",      "lavfi",     "-i",       "sine=f=440:r=44100",
        "-t",      "2",         "-c:v",     "libx264",
        "-preset", "ultrafast", "-g",       "12",
        "-bf",     "0",         "-pix_fmt", "yuv420p",
        "-c:a",    "aac",       "-b:a",     "64k",
        "-y"};
    command.insert(command.end(), settings.begin(), settings.end());
    command.push_back(path);
    test::runOk(command);
    return text(test::readFile(path));
}

/// The checksum of every frame of every stream, decrypted. A program that may seek reads all
/// fragments first, and some of its versions then take the IVs of the wrong one.
std::string frames(const test::TempDir& folder, const Bytes& file, const std::string& key) {
    const std::string path = folder.write("media.mp4", std::string(file.begin(), file.end()));
    std::istringstream listing(
        test::runOk({"ffmpeg", "-v", "fatal", "-nostdin", "-seekable", "0", "-decryption_key", key,
                     "-i", path, "-map", "0", "-c", "copy", "-f", "framemd5", "-"}));
    std::string all;
    for (std::string line; std::getline(listing, line);)
        all += line.substr(0, line.find(", S=")) + "\n"; // a `pssh` comes beside the frames
    return all;
}

/// Frames of a stream, in lines "stream, ...".
long frameCount(const std::string& listing, char stream) {
    long count = 0;
    for (size_t at = 0; at != std::string::npos; at = listing.find('\n', at + 1)) {
        const size_t line = at == 0 ? 0 : at + 1;
        count += listing.compare(line, 2, std::string(1, stream) + ",") == 0 ? 1 : 0;
    }
    return count;
}

long count(const Bytes& bytes, const std::string& part) {
    long found = 0;
    const Bytes wanted = text(part);
    for (auto at = bytes.begin(); at != bytes.end(); ++found) {
        at = std::search(at, bytes.end(), wanted.begin(), wanted.end());
        if (at == bytes.end())
            break;
        ++at;
    }
    return found;
}

void describe(CCENCMediaContent& content) {
    std::list<dashengine::ContentProtection_t> list(1);
    list.front().schemeIdUri = kPlayReady;
    list.front().pssh = test::base64Text(Bytes(kPsshData, 0x55));
    content.setContentProtectionInfo(1, 1, &list);
}

using Way = std::tuple<const char*, bool>;

class DecryptedFrames : public testing::TestWithParam<Way> {
protected:
    test::TempDir folder;
    const std::string movflags = std::get<0>(GetParam());
    const bool avSeparated = std::get<1>(GetParam());
};

INSTANTIATE_TEST_SUITE_P(
    Ways, DecryptedFrames,
    testing::Combine(testing::Values("frag_keyframe+empty_moov+skip_trailer",
                                     "frag_keyframe+empty_moov+skip_trailer+default_base_moof",
                                     "frag_keyframe+empty_moov+skip_trailer+separate_moof"),
                     testing::Bool()));

TEST_P(DecryptedFrames, AreThoseOfTheFileBeforeItWasProtected) {
    const Bytes clear = mediaFile(folder, {"-movflags", movflags});
    const std::string expected = frames(folder, clear, kKey);
    ASSERT_GE(frameCount(expected, '0'), 50);
    ASSERT_GE(frameCount(expected, '1'), 80);
    const Bytes encrypted = test::packCenc(clear, kKeyBytes, counting(16));
    ASSERT_EQ(frames(folder, encrypted, kKey), expected) << "the packager's own";
    ASSERT_NE(frames(folder, encrypted, kOtherKey), expected);

    CCENCMediaContent content;
    content.init(eDRM_TYPE_PLAYREADY, avSeparated);
    describe(content);
    const test::Emitted emitted = test::rewrite(content, encrypted, 1460, 4096);
    ASSERT_TRUE(emitted.isWhole);
    const long boxes = avSeparated ? count(encrypted, "moof") : 1;
    ASSERT_GE(count(encrypted, "moof"), 4);
    EXPECT_EQ(emitted.bytes.size(),
              encrypted.size() + static_cast<size_t>(boxes) * (kPsshData + 32));
    EXPECT_EQ(count(emitted.bytes, "pssh"), boxes);
    EXPECT_EQ(frames(folder, emitted.bytes, kKey), expected);
}

/// A file encrypted by the other program, whose `moov` lists the samples.
TEST(DecryptedFile, StaysReadableWhenItsMoovGrows) {
    const test::TempDir folder;
    const Bytes encrypted = mediaFile(
        folder, {"-movflags", "faststart", "-encryption_scheme", "cenc-aes-ctr", "-encryption_key",
                 kKey, "-encryption_kid", "000102030405060708090a0b0c0d0e0f"});
    const std::string expected = frames(folder, encrypted, kKey);
    ASSERT_GE(frameCount(expected, '0'), 50);
    ASSERT_NE(frames(folder, encrypted, kOtherKey), expected);
    CCENCMediaContent content;
    content.init(eDRM_TYPE_PLAYREADY, false);
    describe(content);
    const test::Emitted emitted = test::rewrite(content, encrypted, 1460, 4096);
    EXPECT_EQ(emitted.bytes.size(), encrypted.size() + kPsshData + 32);
    EXPECT_EQ(frames(folder, emitted.bytes, kKey), expected);
}

/// All samples of a fragment in a file, where `trun` says they are.
Bytes samplesOf(const Bytes& file, const MOOF_TRACK_FORMAT& track, size_t moofAt) {
    const bool hasBase = (track.flags & 1) != 0;
    const size_t base = hasBase ? static_cast<size_t>(track.baseDataOffset) : moofAt;
    const size_t from = base + static_cast<size_t>(track.dataOffset);
    size_t size = 0;
    for (const SAMPLE_FORMAT& sample : track.samples)
        size += sample.size;
    EXPECT_LE(from + size, file.size());
    return {file.begin() + static_cast<std::ptrdiff_t>(from),
            file.begin() + static_cast<std::ptrdiff_t>(from + size)};
}

/// The samples of all tracks of all fragments.
std::vector<Bytes> allSamples(const Bytes& file) {
    CCENCMediaContent content;
    std::vector<Bytes> all;
    const test::ExactBytes bytes(file);
    for (size_t at = 0; at < file.size(); at += readU32(file, at)) {
        EXPECT_GE(content.walkBoxes(bytes.data() + at, readU32(file, at)), 0);
        if (typeAt(file, at) != "moof")
            continue;
        for (const MOOF_TRACK_FORMAT& track : content.getMoofTracks())
            all.push_back(samplesOf(file, track, at));
    }
    return all;
}

TEST_P(DecryptedFrames, LieWhereEveryRunSays) {
    const Bytes encrypted =
        test::packCenc(mediaFile(folder, {"-movflags", movflags}), kKeyBytes, counting(16));
    CCENCMediaContent content;
    content.init(eDRM_TYPE_PLAYREADY, avSeparated);
    describe(content);
    const Bytes out = test::rewrite(content, encrypted, encrypted.size(), 65536).bytes;
    const std::vector<Bytes> samples = allSamples(encrypted);
    EXPECT_GE(samples.size(), 8U);
    EXPECT_EQ(allSamples(out), samples);
}

} // namespace
