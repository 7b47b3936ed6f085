// Every public playlist is read, walked to its end, and compared with what other parsers read from
// it. Where this tool differs, a table says why.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/ManifestWalk.h>

#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/net/HttpUrl.h>
#include <support/Samples.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <set>
#include <sstream>

using hastool::HlsPlaylist;
using nlohmann::json;

namespace {

constexpr char kUrl[] = "http://origin.test/a/b/manifest?token=t";
constexpr double kRounding = 0.0006; // the expected seconds have three decimals

/// Playlists by their numbers, and why they are read in another way than the others read them.
struct Row {
    const char* files;
    const char* what; ///< part of the message, or the field that differs
    const char* why;
};

/// Playlists that are refused, in one line.
const Row kRefused[] = {
    {"0236 0384 1086", "", "RFC 8216, 4.3.3.1: EXT-X-TARGETDURATION is required, and not negative"},
    {"0280 1032", "not a duration: \"-", "RFC 8216, 4.3.2.1 and 4.3.3.1: durations have no sign"},
    {"0293 0379 0620 0623 0624 0625 0626 0643", "an empty playlist",
     "RFC 8216, 4: a playlist lists variants or segments; with neither there is nothing to play"},
    {"0315", "not an initialisation vector: \"[IV]\"", "RFC 8216, 4.3.2.4: IV is hexadecimal"},
    {"0324", "not a number: \"1280000.0\"", "RFC 8216, 4.3.4.2: BANDWIDTH is a decimal integer"},
    {"0390 0845", "", "RFC 8216, 4.3.4.2: BANDWIDTH is required, and the peak of the bitrate"},
    {"0349 0546 0714 1040 1048 1049 1051 1052", "a URI without #EXTINF",
     "RFC 8216, 4.3.2.1: EXTINF is required for every segment; no line may stand for nothing"},
    {"0380 1021 1045", "not a number: \"", "RFC 8216, 4.3.3.2: the sequence number is an integer"},
    {"0425 0495", "a byte range without an offset",
     "RFC 8216, 4.3.2.2: without an offset, the segment before is of the same resource"},
    {"0445 0446", "not a duration: \"1000000\"",
     "RFC 8216, 4.3.3.1: no duration is above the target duration, which is 1 s here; no segment "
     "is longer than a day"},
    {"0594", "the playlist ends where a URI should follow",
     "RFC 8216, 4.3.4.2: a URI line is required behind EXT-X-STREAM-INF"},
    {"0957", "no #EXTM3U before", "RFC 8216, 4.3.1.1: EXTM3U is the first line"},
    {"1023 1026 1029", "not a duration: \"", "RFC 8216, 4.2: a decimal number"},
    {"1070", "not an attribute list", "RFC 8216, 4.2: a quoted string ends"},
    {"0757", "no variable \"token\" to import",
     "RFC 8216bis, 4.4.2.3: a multivariant playlist imports nothing"},
    {"0875 0995 0996", "a variable that is not defined: \"", "RFC 8216bis, 4.3: it has to be"},
    {"0257 0471 0472 0473 0474 0716 0718 0762 0763 0911 0913 0914 0915 0917 0922 0925 0947 0950 "
     "0953 "
     "0954 0967 0975 0991 1004 1008 1084",
     "#EXT-X-SKIP: a part of a playlist",
     "RFC 8216bis, 6.2.5.1: a delta update is sent to those who ask for it; what it skips is "
     "missing"},
};

/// Playlists that this tool reads in another way than the others.
const Row kDifferent[] = {
    {"0244 0766 0982", "keys", "RFC 8216, 4.3.2.4: a key holds whatever its method and KEYFORMAT"},
    {"0438 0655 0728 0754 0877 0962", "sequence", "RFC 8216, 4.3.3.2: without the tag it is 0"},
    {"0439 0976", "seconds",
     "a blank behind the colon is passed over; theirs take no duration then"},
    {"0994", "first", "RFC 8216bis, 4.3: variables are put into URI lines"},
};

/// The row that a file has in a table; null when it has none.
template<size_t kRows>
const Row* rowOf(const Row (&rows)[kRows], const std::string& file, const std::string& what = "") {
    for (const Row& row : rows) {
        std::istringstream files(row.files);
        for (std::string number; files >> number;) {
            if (file.rfind(number + "_", 0) == 0 && (what.empty() || what == row.what))
                return &row;
        }
    }
    return nullptr;
}

/// The numbers of all files in a table.
template<size_t kRows>
std::set<std::string> filesOf(const Row (&rows)[kRows]) {
    std::set<std::string> result;
    for (const Row& row : rows) {
        std::istringstream files(row.files);
        for (std::string number; files >> number;)
            result.insert(number);
    }
    return result;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/manifests/" + folder))
        names.push_back(entry.path().filename().string());
    return names;
}

std::string textOf(const std::string& folder, const std::string& name) {
    return test::readFile(std::string(HAS_SAMPLES_DIR) + "/manifests/" + folder + "/" + name);
}

/// The variables of the master playlist that some of these import from.
HlsPlaylist parse(const std::string& text) {
    hastool::HlsVariables master;
    master.define("mvpVariable", "ok");
    master.define("mvpVar", "ok");
    const bool isMaster = text.find("#EXT-X-STREAM-INF") != std::string::npos;
    return hastool::parseHlsPlaylist(text, kUrl, isMaster ? nullptr : &master);
}

json readOf(const HlsPlaylist& playlist) {
    json variants = json::array();
    for (const auto& variant : playlist.variants)
        variants.push_back({variant.bandwidth, variant.uri});
    if (playlist.isMaster())
        return {{"variants", variants}};
    double seconds = 0;
    int ranges = 0;
    int discontinuities = 0;
    int keys = 0;
    for (const auto& segment : playlist.segments) {
        seconds += segment.seconds;
        ranges += segment.range ? 1 : 0;
        discontinuities += segment.discontinuity ? 1 : 0;
        keys += segment.key ? 1 : 0;
    }
    json result = {{"segments", playlist.segments.size()},
                   {"seconds", seconds},
                   {"sequence", playlist.mediaSequence},
                   {"ended", playlist.ended},
                   {"discontinuities", discontinuities},
                   {"keys", keys},
                   {"ranges", ranges}};
    if (!playlist.segments.empty()) {
        result["first"] = playlist.segments.front().uri;
        result["last"] = playlist.segments.back().uri;
    }
    return result;
}

bool isSame(const std::string& field, const json& expected, const json& read) {
    if (field == "seconds")
        return std::abs(expected.get<double>() - read.get<double>()) <= kRounding;
    return expected == read;
}

/// Compares one file; differences have to be in the table.
/// @return whether the table has a row for the file
bool compare(const std::string& name, const json& expected) {
    json read;
    try {
        read = readOf(parse(textOf("public/hls", name)));
    } catch (const hastool::ToolError& error) {
        const std::string message = error.what();
        const Row* const row = rowOf(kRefused, name);
        EXPECT_NE(row, nullptr) << name << " is refused: " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        const bool isExpected = row != nullptr && message.find(row->what) != std::string::npos;
        EXPECT_TRUE(isExpected) << message;
        return true;
    }
    EXPECT_EQ(rowOf(kRefused, name), nullptr) << name << " is not refused";
    bool isInTable = false;
    for (const auto& [field, value] : expected.items()) {
        if (field == "strict" || (read.contains(field) && isSame(field, value, read[field])))
            continue;
        const bool isKnown = rowOf(kDifferent, name, field) != nullptr;
        EXPECT_TRUE(isKnown) << name << ": " << field << " is " << read[field] << ", not " << value;
        isInTable = isInTable || isKnown;
    }
    return isInTable;
}

TEST(HlsPublic, IsReadAsOthersReadItButForWhatTheTableSays) {
    const json expected = test::sampleJson("dev-expected/manifests.json").at("hls");
    const auto names = namesIn("public/hls");
    EXPECT_EQ(names.size(), 419U);
    std::set<std::string> used;
    for (const std::string& name : names) {
        ASSERT_TRUE(expected.contains(name)) << name;
        if (compare(name, expected[name]))
            used.insert(name.substr(0, name.find('_')));
    }
    std::set<std::string> rows = filesOf(kRefused);
    rows.merge(filesOf(kDifferent));
    EXPECT_EQ(used, rows) << "something in the table differs no more";
}

/// The playlist at every URL but the tested playlist's own: two segments.
constexpr char kOther[] =
    "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\ns1\n#EXTINF:2,\ns2\n#EXT-X-ENDLIST\n";

/// Whether a track may end with this error: encryption that the tool does not know, and URLs that
/// are not HTTP.
bool isUnplayable(const std::string& error) {
    for (const char* const reason : {"only AES-128 can be played", "which cannot be fetched",
                                     "not an HTTP URL", "is encrypted without an IV"}) {
        if (error.find(reason) != std::string::npos)
            return true;
    }
    return false;
}

void checkWhole(const std::string& name, const HlsPlaylist& playlist, const ManifestWalk& walked) {
    ASSERT_EQ(walked.pieces.size(), playlist.segments.size()) << name;
    for (size_t i = 0; i < walked.pieces.size(); ++i) {
        const auto& segment = playlist.segments[i];
        EXPECT_EQ(walked.pieces[i].index, segment.sequence) << name;
        EXPECT_EQ(walked.pieces[i].media.resource.url,
                  hastool::resolveHttpUrl(kUrl, segment.uri, name));
        EXPECT_EQ(walked.pieces[i].media.resource.range, segment.range) << name;
    }
}

/// Walks one stream of one file, which does not change meanwhile.
/// @return whether there is such a stream
bool walkStream(const std::string& name, const std::string& text, size_t track, size_t stream) {
    WalkClock clock;
    const auto fetch = [&](const hastool::Resource& resource) {
        return hastool::Document{resource.url == kUrl ? text : kOther, resource.url};
    };
    const auto presentation = hastool::openPresentation(
        kUrl, fetch, std::chrono::seconds(20), clock.source(), {}, false); // whole segments
    const auto& tracks = presentation->tracks();
    if (track >= tracks.size() || stream >= tracks[track].streams.size())
        return false;
    const ManifestWalk walked = walk(*presentation, track, stream, clock, 60);
    EXPECT_FALSE(walked.endless) << name;
    if (isUnplayable(walked.error))
        return true;
    const HlsPlaylist playlist = hastool::parseHlsPlaylist(text, kUrl);
    if (playlist.isMaster()) {
        EXPECT_TRUE(walked.ended && walked.pieces.size() == 2U) << name << " " << walked.error;
    } else if (playlist.ended) {
        EXPECT_TRUE(walked.ended) << name << " " << walked.error;
        checkWhole(name, playlist, walked);
    } else {
        const bool hasStopped =
            walked.error.find("the live stream has stopped") != std::string::npos;
        EXPECT_TRUE(hasStopped || walked.liveSeconds >= 60) << name << " " << walked.error;
        EXPECT_EQ(walked.pieces.size(), std::min<size_t>(playlist.segments.size(), 3)) << name;
    }
    return true;
}

/// @return how many streams were walked
size_t walkAll(const std::string& folder, const std::string& name) {
    const std::string text = textOf(folder, name);
    size_t walked = 0;
    try {
        for (size_t track = 0; track < 2; ++track) {
            for (size_t stream = 0; walkStream(name, text, track, stream); ++stream)
                ++walked;
        }
    } catch (const hastool::ToolError& error) {
        const std::string message = error.what();
        const bool isKnown = rowOf(kRefused, name) != nullptr || isUnplayable(message) ||
                             message.find(" to import from a master") != std::string::npos;
        EXPECT_TRUE(isKnown) << name << " " << message;
    }
    return walked;
}

TEST(HlsPublic, EveryTrackOfEveryStreamIsWalkedToItsEnd) {
    size_t walked = 0;
    for (const char* const folder : {"public/hls", "hls"}) {
        for (const std::string& name : namesIn(folder))
            walked += walkAll(folder, name);
    }
    EXPECT_GT(walked, 450U);
}

} // namespace
