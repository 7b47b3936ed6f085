// What is computed of a play, beside a real one over the same line.
#include "Hastool.h"
#include "Serve.h"

#include <support/TempDir.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::runHastool;
using test::Serve;

namespace {

constexpr int kSegments = 14;
constexpr char kBuffer[] = "5";
const std::vector<int> kKbps = {500, 2000};

using Streams = std::vector<int>; // of the segments, in their order

/// A line that `serve` and `simulate` read alike.
struct Line {
    const char* name;
    const char* profile;
};

std::ostream& operator<<(std::ostream& stream, const Line& line) {
    return stream << line.name;
}

double meanKbps(const Streams& streams) {
    double sum = 0;
    for (const int stream : streams)
        sum += kKbps.at(static_cast<size_t>(stream));
    return sum / static_cast<double>(streams.size());
}

/// The segments at which a play comes up to a stream or higher ones, or leaves them.
std::vector<int> switchesOver(const Streams& streams, int rung) {
    std::vector<int> result;
    for (size_t i = 1; i < streams.size(); ++i) {
        if ((streams[i] >= rung) != (streams[i - 1] >= rung))
            result.push_back(static_cast<int>(i));
    }
    return result;
}

std::string text(const Streams& streams) {
    std::string result;
    for (const int stream : streams)
        result += std::to_string(stream) + " ";
    return result;
}

bool areBeside(const std::vector<int>& some, const std::vector<int>& others) {
    return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                      [](int one, int other) { return std::abs(one - other) <= 1; });
}

/// Says how a play parts from what was computed; nothing where it is near enough.
std::string differenceOf(const Streams& real, const Streams& computed) {
    const std::string both = "played " + text(real) + "and simulated " + text(computed);
    if (real.size() != computed.size())
        return "segments: " + both;
    if (std::abs(meanKbps(real) / meanKbps(computed) - 1) >= 0.05)
        return "mean bitrate: " + both;
    for (int rung = 1; rung < static_cast<int>(kKbps.size()); ++rung) {
        if (!areBeside(switchesOver(real, rung), switchesOver(computed, rung)))
            return "switches: " + both;
    }
    return "";
}

class HastoolReality : public testing::TestWithParam<Line> {
protected:
    /// Segments of a second that have their bitrate to the packet, in packets without media.
    HastoolReality() {
        const std::string packet = "\x47\x1f\xff\x10" + std::string(184, '\xff');
        std::string master = "#EXTM3U\n";
        for (size_t i = 0; i < kKbps.size(); ++i) {
            const std::string folder = std::to_string(i) + "/";
            master += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(kKbps[i] * 1000) + "\n" +
                      folder + "index.m3u8\n";
            std::string segment;
            for (int left = kKbps[i] * 125 / 188; left > 0; --left)
                segment += packet;
            std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n";
            for (int number = 0; number < kSegments; ++number) {
                const std::string name = std::to_string(number) + ".ts";
                m_dir.write("v/" + folder + name, segment);
                playlist += "#EXTINF:1,\n" + name + "\n";
            }
            m_dir.write("v/" + folder + "index.m3u8", playlist + "#EXT-X-ENDLIST\n");
        }
        m_dir.write("v/master.m3u8", master);
        m_dir.write("line.csv", GetParam().profile);
    }

    Streams played() const {
        const Serve serve({"--root", m_dir.file("v"), "--profile", m_dir.file("line.csv")});
        const Child::Result result =
            runHastool({"play", "-q", "--rule", "hybrid", "--buffer", kBuffer, "--trace",
                        m_dir.file("t.json"), serve.url("/master.m3u8")});
        EXPECT_EQ(result.status, 0) << result.err;
        Streams streams;
        for (const json& row : json::parse(test::readFile(m_dir.file("t.json"))))
            streams.push_back(row["stream"]);
        return streams;
    }

    Streams simulated() const {
        const Child::Result result =
            runHastool({"simulate", "--trace", m_dir.file("line.csv"), "--movie", m_dir.file("v"),
                        "--rule", "hybrid", "--buffer", kBuffer, "--set", "hold=goal", "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        constexpr size_t kStream = 2; // where a segment's figures have it
        const json run = json::parse(result.out);
        Streams streams;
        for (const json& row : run["segments"])
            streams.push_back(row[kStream]);
        return streams;
    }

    test::TempDir m_dir;
};

// Where these change, a rate that is off by a few percent leaves each switch at its segment.
INSTANTIATE_TEST_SUITE_P(Lines, HastoolReality,
                         testing::Values(Line{"Down", "0,5000\n4,600\n60,\n"},
                                         Line{"Up", "0,600\n4,4000\n60,\n"},
                                         Line{"Dip", "0,2500\n3,150\n6,2500\n60,\n"}),
                         [](const auto& row) { return row.param.name; });

} // namespace

/// Both go over each bitrate as often, each time at the same segment or the one beside it. What
/// other programs do to a line that is busy with them is not in its profile: for that a play has
/// three attempts.
TEST_P(HastoolReality, SwitchesAsTheSimulationDoes) {
    const Streams computed = simulated();
    ASSERT_EQ(computed.size(), static_cast<size_t>(kSegments));
    EXPECT_NE(meanKbps(computed), kKbps.front()) << "a line that asks nothing of the rule";
    std::string difference = "not played";
    for (int attempt = 0; attempt < 3 && !difference.empty() && !HasFailure(); ++attempt)
        difference = differenceOf(played(), computed);
    EXPECT_EQ(difference, "");
}
