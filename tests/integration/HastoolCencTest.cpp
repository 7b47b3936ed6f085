// What becomes of encrypted media, judged by ffmpeg.
#include "Hastool.h"

#include <support/CencFragments.h>
#include <support/Mp4Boxes.h>

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::runHastool;
using ::testing::HasSubstr;

namespace {

constexpr char kMarlin[] = "urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4";
constexpr char kPlayReady[] = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";

json boxesOf(const std::string& path) {
    const Child::Result result = runHastool({"boxes", "--json", path});
    EXPECT_EQ(result.status, 0) << result.err;
    return json::parse(result.out);
}

/// All boxes of a type, however deep.
void collect(const json& boxes, const std::string& type, std::vector<json>& found) {
    for (const json& box : boxes) {
        if (box.value("type", "") == type)
            found.push_back(box);
        if (box.contains("children"))
            collect(box["children"], type, found);
    }
}

std::vector<json> boxesOf(const std::string& path, const std::string& type) {
    std::vector<json> found;
    collect(boxesOf(path), type, found);
    return found;
}

/// Where each fragment's samples begin, from the begin of its media data; by their data offsets.
std::vector<int64_t> samplePlaces(const std::string& path) {
    std::vector<int64_t> places;
    int64_t moof = 0;
    std::vector<int64_t> offsets;
    for (const json& box : boxesOf(path)) {
        if (box["type"] == "moof") {
            moof = box["offset"];
            std::vector<json> runs;
            collect(box["children"], "trun", runs);
            offsets.clear();
            for (const json& run : runs)
                offsets.push_back(run["data_offset"]);
        } else if (box["type"] == "mdat") {
            for (const int64_t offset : offsets)
                places.push_back(moof + offset - box["offset"].get<int64_t>());
        }
    }
    return places;
}

std::string probe(const std::string& path) {
    return test::runOk({"ffprobe", "-v", "error", "-fflags", "+ignidx", "-show_streams",
                        "-count_packets", "-of", "json", path});
}

/// The digests of all frames of all tracks, decoded.
std::string frames(const std::string& path) {
    return test::runOk({"ffmpeg", "-v", "error", "-nostdin", "-xerror", "-i", path, "-map", "0",
                        "-f", "framemd5", "-"});
}

/// How many packets each track has.
std::vector<std::string> packets(const std::string& path) {
    const json probed = json::parse(test::runOk(
        {"ffprobe", "-v", "error", "-show_streams", "-count_packets", "-of", "json", path}));
    std::vector<std::string> counts;
    for (const json& stream : probed["streams"])
        counts.push_back(stream["nb_read_packets"]);
    return counts;
}

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        constexpr char digits[] = "0123456789abcdef";
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

void expectFailure(const Child::Result& result, const std::string& line) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "hastool: " + line + "\n");
}

class HastoolCenc : public testing::Test {
protected:
    std::string media(bool hasAudio) const {
        const std::string path = m_dir.file(hasAudio ? "av.mp4" : "v.mp4");
        test::makeEncryptedFragments(path, hasAudio);
        return path;
    }
    /// Three seconds that are not encrypted.
    std::string clearMedia(const std::string& flags, bool hasAudio) const {
        const std::string path = m_dir.file("clear.mp4");
        std::vector<std::string> command = {"ffmpeg", "-v",    "error", "-nostdin",          "-y",
                                            "-f",     "lavfi", "-i",    "testsrc2=s=320x180"};
        if (hasAudio)
            command.insert(command.end(), {"-f", "lavfi", "-i", "sine", "-c:a", "aac"});
        for (const char* word : {"-t", "3", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-preset",
                                 "ultrafast", "-g", "25", "-movflags"})
            command.emplace_back(word);
        command.insert(command.end(), {flags, path});
        test::runOk(command);
        return path;
    }
    std::string out() const { return m_dir.file("out.mp4"); }
    /// Runs the command. @return its summary without the file's name
    std::string rewrite(const std::string& path, std::vector<std::string> more) const {
        more.insert(more.begin(), {"cenc", path, out()});
        const Child::Result result = runHastool(more);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out.substr(0, out().size() + 2), out() + ": ");
        EXPECT_EQ(test::lines(result.out), 1);
        return result.out.substr(result.out.find(',') + 2);
    }
    /// The written file plays as the one it was made from.
    void expectSameMedia(const std::string& path) const {
        EXPECT_EQ(test::decryptedFrames(out()), test::decryptedFrames(path));
        EXPECT_EQ(samplePlaces(out()), samplePlaces(path));
        const json before = json::parse(probe(path))["streams"];
        const json after = json::parse(probe(out()))["streams"];
        ASSERT_EQ(before.size(), after.size());
        for (size_t i = 0; i < before.size(); ++i) {
            for (const char* name : {"codec_name", "nb_read_packets", "id", "time_base"})
                EXPECT_EQ(before[i][name], after[i][name]);
        }
    }

    test::TempDir m_dir;
};

} // namespace

TEST_F(HastoolCenc, SeparateMediaDecryptWithABoxInEveryFragment) {
    const std::string path = media(false);
    EXPECT_EQ(rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--separate"}),
              "3 pssh boxes inserted, 0 replaced, 0 neutralised\n");
    expectSameMedia(path);
    const auto boxes = boxesOf(out(), "pssh");
    ASSERT_EQ(boxes.size(), 3U);
    for (const json& box : boxes) {
        EXPECT_EQ(box["system"], "PlayReady");
        EXPECT_EQ(box["data_size"], 4);
    }
}

TEST_F(HastoolCenc, MultiplexedMediaDecryptWithABoxInTheMovie) {
    const std::string path = media(true);
    EXPECT_EQ(rewrite(path, {"--scheme-id", kMarlin, "--pssh", "ZGF0YQ==", "--muxed"}),
              "1 pssh box inserted, 0 replaced, 0 neutralised\n");
    expectSameMedia(path);
    EXPECT_EQ(boxesOf(out(), "pssh").at(0)["system"], "Marlin");
}

TEST_F(HastoolCenc, FragmentsOfTwoTracksDecryptWithABoxInEach) {
    const std::string path = media(true);
    EXPECT_THAT(rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--separate"}),
                HasSubstr(" pssh boxes inserted, 0 replaced, 0 neutralised\n"));
    expectSameMedia(path);
}

TEST_F(HastoolCenc, TheTracksTellWhetherMediaAreMultiplexed) {
    EXPECT_EQ(rewrite(media(true), {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ=="}),
              "1 pssh box inserted, 0 replaced, 0 neutralised\n");
    EXPECT_EQ(rewrite(media(false), {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ=="}),
              "3 pssh boxes inserted, 0 replaced, 0 neutralised\n");
}

TEST_F(HastoolCenc, EveryChunkSizeWritesTheSameFile) {
    const std::string path = media(false);
    std::string first;
    for (const char* size : {"16384", "1", "1460", "4194304"}) {
        rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--chunk", size});
        const std::string written = test::readFile(out());
        first = first.empty() ? written : first;
        EXPECT_TRUE(written == first) << size;
    }
}

TEST_F(HastoolCenc, AnInsertedBoxIsReplacedAndNeutralised) {
    const std::string path = media(true);
    rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--muxed"});
    const std::string with = m_dir.file("with.mp4");
    std::filesystem::rename(out(), with);
    EXPECT_EQ(rewrite(with, {"--scheme-id", kMarlin, "--pssh", "b3RoZXI=", "--muxed"}),
              "0 pssh boxes inserted, 1 replaced, 0 neutralised\n");
    EXPECT_EQ(test::decryptedFrames(out()), test::decryptedFrames(path));
    EXPECT_THAT(rewrite(with, {"--scheme-id", kPlayReady, "--separate"}),
                HasSubstr(" 0 replaced, 1 neutralised\n"));
    EXPECT_EQ(test::decryptedFrames(out()), test::decryptedFrames(path));
    EXPECT_EQ(boxesOf(out(), "pssh").at(0)["system"], "PlayReady"); // moved into the fragments
}

TEST_F(HastoolCenc, AWholeBoxGivesItsData) {
    // "pssh" of version 1 with a key id and the data "data".
    const std::string whole = "AAAAOHBzc2gBAAAAmgTweZhAQoarkuZb4IhflQAAAAEBAgMEBQYHCAkKCwwNDg8Q"
                              "AAAABGRhdGE=";
    const std::string path = media(false);
    rewrite(path, {"--scheme-id", kPlayReady, "--pssh", whole});
    const std::string first = test::readFile(out());
    rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ=="});
    EXPECT_TRUE(test::readFile(out()) == first);
}

TEST_F(HastoolCenc, AFileCanBeRewrittenInPlace) {
    const std::string path = media(false);
    const std::string frames = test::decryptedFrames(path);
    const Child::Result result =
        runHastool({"cenc", path, path, "--scheme-id", kPlayReady, "--pssh", "ZGF0YQ=="});
    EXPECT_THAT(result.out, HasSubstr("3 pssh boxes inserted"));
    EXPECT_EQ(test::decryptedFrames(path), frames);
}

TEST_F(HastoolCenc, RefusesWhatItCannotDoAndLeavesNoFile) {
    const std::string file = m_dir.write("a.mp4", test::mp4Box("ftyp", "iso6") +
                                                      test::mp4Box("free", test::zeros(6 << 20)));
    const std::string text = m_dir.write("a.txt", "this is no film, nor a part of one");
    const auto run = [&](const std::string& in, const std::string& scheme) {
        return runHastool({"cenc", in, out(), "--scheme-id", scheme});
    };
    expectFailure(run(text, kPlayReady), text + ": not an MP4 file");
    expectFailure(run(file, "urn:x"), "--scheme-id: no handler for \"urn:x\"");
    expectFailure(run(file, kPlayReady), file + ": offset 0: the handler refuses it");
    expectFailure(run("/none", kPlayReady), "/none: cannot be read: No such file or directory");
    EXPECT_EQ(run(file, "").status, 1);
    EXPECT_FALSE(std::filesystem::exists(out()));
    EXPECT_FALSE(std::filesystem::exists(out() + ".part"));
}

TEST_F(HastoolCenc, RefusesWhatItDoesNotUnderstand) {
    const std::string file = m_dir.write("a.mp4", test::mp4Box("ftyp", "iso6"));
    const std::vector<std::string> right = {"cenc", file, out(), "--scheme-id", kPlayReady};
    const std::vector<std::vector<std::string>> rows = {
        {"--pssh", "abc"}, {"--chunk", "0"}, {"--chunk", "x"}, {"--muxed", "--separate"}};
    for (const auto& wrong : rows) {
        std::vector<std::string> command = right;
        command.insert(command.end(), wrong.begin(), wrong.end());
        const Child::Result result = runHastool(command);
        EXPECT_EQ(result.status, 2) << wrong[0];
        EXPECT_EQ(test::lines(result.err), 1);
    }
    EXPECT_EQ(runHastool({"cenc", file, out()}).status, 2);
    EXPECT_FALSE(std::filesystem::exists(out()));
}

TEST_F(HastoolCenc, AFileWithoutFragmentsDecryptsToo) {
    const std::string path = m_dir.file("plain.mp4");
    for (const char* order : {"+faststart", "+write_colr"}) { // the movie first, and last
        test::runOk({"ffmpeg",
                     "-v",
                     "error",
                     "-nostdin",
                     "-y",
                     "-f",
                     "lavfi",
                     "-i",
                     "testsrc2",
                     "-f",
                     "lavfi",
                     "-i",
                     "sine",
                     "-t",
                     "1",
                     "-c:v",
                     "libx264",
                     "-preset",
                     "ultrafast",
                     "-c:a",
                     "aac",
                     "-movflags",
                     order,
                     "-encryption_scheme",
                     "cenc-aes-ctr",
                     "-encryption_key",
                     test::kMediaKey,
                     "-encryption_kid",
                     test::kMediaKeyId,
                     path});
        EXPECT_EQ(rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ=="}),
                  "1 pssh box inserted, 0 replaced, 0 neutralised\n");
        EXPECT_EQ(test::decryptedFrames(out()), test::decryptedFrames(path));
        EXPECT_THAT(rewrite(path, {"--separate", "--scheme-id", kPlayReady}),
                    HasSubstr("0 pssh boxes inserted"));
        EXPECT_TRUE(test::readFile(out()) == test::readFile(path));
    }
}

TEST_F(HastoolCenc, FragmentsWithoutABaseKeepTheirSoundAndPicture) {
    // Offsets of the second track then count from the end of the first one's data.
    for (const char* flags :
         {"omit_tfhd_offset+frag_keyframe+empty_moov", "frag_keyframe+empty_moov",
          "frag_keyframe+empty_moov+default_base_moof"}) {
        const std::string path = clearMedia(flags, true);
        EXPECT_THAT(rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--separate"}),
                    HasSubstr(" pssh boxes inserted, 0 replaced, 0 neutralised\n"));
        EXPECT_EQ(frames(out()), frames(path)) << flags;
        EXPECT_EQ(packets(out()), packets(path)) << flags;
        EXPECT_EQ(packets(path).size(), 2U);
    }
}

TEST_F(HastoolCenc, AnIndexStillLeadsToEveryFragment) {
    for (const char* flags : {"frag_keyframe+empty_moov+default_base_moof+global_sidx",
                              "dash+frag_keyframe+empty_moov+default_base_moof"}) {
        const std::string path = clearMedia(flags, true);
        ASSERT_FALSE(boxesOf(path, "sidx").empty());
        rewrite(path, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--separate"});
        EXPECT_EQ(packets(out()), packets(path)) << flags;
        EXPECT_EQ(frames(out()), frames(path)) << flags;
        EXPECT_EQ(boxesOf(out(), "sidx").size(), boxesOf(path, "sidx").size());
        // Tables of places at the end, in this version a time and a place of 64 bits each.
        const std::string file = test::readFile(out());
        for (const json& table : boxesOf(out(), "tfra")) {
            const std::string bytes = file.substr(table["offset"], table["size"]);
            for (size_t at = 32; at < bytes.size(); at += 19) {
                const size_t place = std::stoul(hexOf(bytes.substr(at, 8)), nullptr, 16);
                EXPECT_EQ(file.substr(place + 4, 4), "moof") << flags;
            }
        }
    }
}

TEST_F(HastoolCenc, SamplesInFrontOfTheirFragmentAreStillFound) {
    const std::string path =
        clearMedia("omit_tfhd_offset+frag_keyframe+empty_moov+default_base_moof", false);
    const std::string file = test::readFile(path);
    std::string turned;
    for (const json& box : boxesOf(path)) {
        const size_t at = box["offset"];
        const size_t size = box["size"];
        if (box["type"] == "mfra")
            continue; // the offsets in it are no longer true
        turned += file.substr(at, size);
        if (box["type"] != "mdat")
            continue;
        // The fragment is moved behind its data, and its only run's offset leads back to that.
        std::string moof = turned.substr(turned.rfind("moof") - 4);
        moof.resize(moof.size() - size);
        turned.erase(turned.size() - size - moof.size(), moof.size());
        moof.replace(moof.find("trun") + 12, 4, test::be(8 - size));
        turned += moof;
    }
    const std::string front = m_dir.write("front.mp4", turned);
    ASSERT_EQ(frames(front), frames(path));
    rewrite(front, {"--scheme-id", kPlayReady, "--pssh", "ZGF0YQ==", "--separate"});
    EXPECT_EQ(boxesOf(out(), "pssh").size(), 3U);
    EXPECT_EQ(frames(out()), frames(path));
}

TEST_F(HastoolCenc, BoxesAgreeWithWhatEncryptedTheFile) {
    const std::string path = media(true);
    for (const json& box : boxesOf(path, "tenc")) {
        EXPECT_EQ(box["kid"], test::kMediaKeyId);
        EXPECT_EQ(box["is_protected"], 1);
        EXPECT_EQ(box["iv_size"], 8);
    }
    for (const json& box : boxesOf(path, "schm"))
        EXPECT_EQ(box["scheme_type"], "cenc");
    EXPECT_EQ(boxesOf(path, "frma").at(0)["original_format"], "avc1");
    EXPECT_EQ(boxesOf(path, "frma").at(1)["original_format"], "mp4a");
    const json streams = json::parse(probe(path))["streams"];
    EXPECT_EQ(boxesOf(path, "encv").at(0)["width"], streams[0]["width"]);
    EXPECT_EQ(boxesOf(path, "encv").at(0)["height"], streams[0]["height"]);
    uint64_t samples = 0;
    for (const json& run : boxesOf(path, "trun"))
        samples += run["sample_count"].get<uint64_t>();
    uint64_t packets = 0;
    for (const json& stream : streams)
        packets += std::stoull(stream["nb_read_packets"].get<std::string>());
    EXPECT_EQ(samples, packets);
}

TEST_F(HastoolCenc, BoxesShowsABrokenFileAsFarAsItGoes) {
    const std::string whole = test::mp4Box("ftyp", "iso6" + test::be(1)) +
                              test::mp4Box("moov", test::mp4Box("trak", test::zeros(50)));
    const std::string path = m_dir.write("cut.mp4", whole.substr(0, 40));
    const Child::Result result = runHastool({"boxes", path});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(test::lines(result.out), 4);
    EXPECT_EQ(result.err,
              "hastool: " + path + ": offset 16: box \"moov\" reaches 42 bytes beyond the file\n");
    const Child::Result asJson = runHastool({"boxes", "--json", path});
    EXPECT_EQ(asJson.status, 1);
    EXPECT_EQ(json::parse(asJson.out).size(), 2U);
    expectFailure(runHastool({"boxes", m_dir.write("empty", "")}),
                  m_dir.file("empty") + ": no boxes: the file is empty");
    expectFailure(runHastool({"boxes", "/none"}),
                  "/none: cannot be read: No such file or directory");
}
