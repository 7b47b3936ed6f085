#include "Hastool.h"

#include <support/MediaLadder.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::runHastool;

namespace {

json jsonOf(const std::vector<std::string>& arguments) {
    const Child::Result result = runHastool(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return json::parse(result.out);
}

void expectFailure(const Child::Result& result, const std::string& line) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "hastool: " + line + "\n");
}

class HastoolMedia : public testing::Test {
protected:
    /// Makes a second of H.264 and AAC of a picture size, in the format of the name's extension.
    std::string make(const std::string& name, const std::string& size,
                     const std::vector<std::string>& more = {}) const {
        std::vector<std::string> command = {"ffmpeg",   "-v",      "error",   "-nostdin",
                                            "-f",       "lavfi",   "-i",      "testsrc2=s=" + size,
                                            "-f",       "lavfi",   "-i",      "sine",
                                            "-t",       "1",       "-c:v",    "libx264",
                                            "-pix_fmt", "yuv420p", "-preset", "ultrafast",
                                            "-c:a",     "aac"};
        command.insert(command.end(), more.begin(), more.end());
        command.push_back(m_dir.file(name));
        test::runOk(command);
        return m_dir.file(name);
    }
    static json probe(const std::string& path) {
        return json::parse(test::runOk({"ffprobe", "-v", "error", "-show_streams", "-show_programs",
                                        "-count_packets", "-of", "json", path}));
    }

    test::TempDir m_dir;
};

} // namespace

TEST_F(HastoolMedia, SpsTellsTheSizeThatFfprobeTells) {
    for (const std::string size : {"320x180", "176x144", "854x480", "1280x720"}) {
        for (const std::string& path :
             {make(size + ".ts", size), make(size + ".h264", size, {"-an"}),
              make(size + ".m2ts", size), make(size + ".mp4", size),
              make(size + ".f.mp4", size, {"-movflags", "frag_keyframe+empty_moov"})}) {
            SCOPED_TRACE(path);
            const json sets = jsonOf({"sps", "--json", path});
            const json stream = probe(path)["streams"][0];
            ASSERT_EQ(sets.size(), 1U);
            EXPECT_EQ(sets[0]["width"], stream["width"]);
            EXPECT_EQ(sets[0]["height"], stream["height"]);
            EXPECT_EQ(sets[0]["level_idc"], stream["level"]);
            EXPECT_NE(runHastool({"sps", path}).out.find("  " + size + "\n"), std::string::npos);
        }
    }
}

TEST_F(HastoolMedia, SpsSaysWhenThereIsNone) {
    const std::string path = m_dir.write("a", "no video");
    expectFailure(runHastool({"sps", path}), path + ": no SPS");
    expectFailure(runHastool({"sps", "/none"}), "/none: cannot be read: No such file or directory");
}

TEST_F(HastoolMedia, TsTellsTheProgramsThatFfprobeTells) {
    const std::string path = make("a.ts", "320x180");
    const json report = jsonOf({"ts", "--json", path});
    const json program = probe(path)["programs"][0];
    EXPECT_EQ(report["programs"][0]["pmt_pid"], program["pmt_pid"]);
    EXPECT_EQ(report["programs"][0]["pcr_pid"], program["pcr_pid"]);
    EXPECT_EQ(report["programs"][0]["streams"].size(), 2U);
    EXPECT_EQ(report["programs"][0]["streams"][0]["stream_type"], 0x1B);
    EXPECT_EQ(report["packets"], std::filesystem::file_size(path) / 188);
    for (const json& pid : report["pids"])
        EXPECT_EQ(pid["continuity_errors"], 0) << pid;
}

TEST_F(HastoolMedia, TsRemapsIntoAStreamThatDecodes) {
    const std::string path = make("a.ts", "320x180");
    const std::string out = m_dir.file("o.ts");
    const json result = jsonOf({"ts", "--json", "--remap", "0x100=0x1100", "--remap", "257=600",
                                "--remap", "4096=700", "-o", out, path});
    EXPECT_EQ(result["packets"], std::filesystem::file_size(path) / 188);
    EXPECT_EQ(test::decodeErrors(out), "");
    const json probed = probe(out);
    EXPECT_EQ(probed["programs"][0]["pmt_pid"], 700);
    EXPECT_EQ(probed["streams"][0]["id"], "0x1100");
    EXPECT_EQ(probed["streams"][1]["id"], "0x258");
    EXPECT_EQ(probed["streams"][0]["nb_read_packets"],
              probe(path)["streams"][0]["nb_read_packets"]);
}

TEST_F(HastoolMedia, TsRefusesWhatItCannotDo) {
    const std::string path = make("a.ts", "320x180");
    expectFailure(runHastool({"ts", "--remap", "5=6", "-o", m_dir.file("o"), path}),
                  path + ": no packet has PID 0x0005");
    EXPECT_FALSE(std::filesystem::exists(m_dir.file("o")));
    const std::string text = m_dir.write("a", "no packets");
    expectFailure(runHastool({"ts", text}), text + ": no transport stream packets");
    EXPECT_EQ(runHastool({"ts", "--remap", "x", "-o", m_dir.file("o"), path}).status, 2);
    EXPECT_EQ(runHastool({"ts", "--remap", "5=6", path}).status, 2);
}

TEST_F(HastoolMedia, XPathPrintsWhatAnExpressionComesTo) {
    const std::string path =
        m_dir.write("a.xml", "<a><b n='12'>7</b><b n='x'>8</b><t>TRUE</t><f>1.5</f></a>");
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{"/a/b/text()"}, "7\n8\n"},
        {{"/a/f"}, "1.5\n"},
        {{"//@n"}, "12\nx\n"},
        {{"count(/a/b)"}, "2\n"},
        {{"sum(/a/b) div 2"}, "7.5\n"},
        {{"1 div 0"}, "Infinity\n"},
        {{"string(/a/t)"}, "TRUE\n"},
        {{"/a/b = 8"}, "true\n"},
        {{"/a/none"}, "\n"},
        {{"/a/b", "--attr", "n"}, "12\n"},
        {{"/a/b[2]", "--attr", "n", "--as", "int"}, "0\n"},
        {{"/a/b/text()", "--as", "int"}, "7\n"},
        {{"/a/f/text()", "--as", "float"}, "1.5\n"},
        {{"/a/b", "--attr", "n", "--as", "float"}, "12.0\n"},
        {{"/a/t/text()", "--as", "bool"}, "true\n"},
        {{"/a/none/text()"}, "\n"},
        {{"/a/none/text()", "--as", "int"}, "0\n"},
        {{"/a/none/text()", "--as", "float"}, "0.0\n"},
        {{"/a/none/text()", "--as", "bool"}, "false\n"},
    };
    for (const auto& [arguments, expected] : rows) {
        std::vector<std::string> command = {"xpath", path};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Child::Result result = runHastool(command);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, expected) << arguments[0];
    }
}

TEST_F(HastoolMedia, XPathSaysWhatCannotBeRead) {
    expectFailure(runHastool({"xpath", "/none", "/a"}),
                  "/none: cannot be read: No such file or directory");
    const std::string path = m_dir.write("a.xml", "<a><b></a>");
    expectFailure(runHastool({"xpath", path, "/a"}), path + ": not a well-formed XML document");
    EXPECT_EQ(runHastool({"xpath", path, "/a", "--as", "word"}).status, 2);
    const std::string good = m_dir.write("good.xml", "<a/>");
    for (const std::vector<std::string>& more :
         std::vector<std::vector<std::string>>{{}, {"--as", "int"}, {"--attr", "n"}}) {
        std::vector<std::string> command = {"xpath", good, "///["};
        command.insert(command.end(), more.begin(), more.end());
        const Child::Result wrong = runHastool(command);
        EXPECT_EQ(wrong.status, 2);
        EXPECT_EQ(wrong.err, "hastool: \"///[\": Invalid expression\n");
    }
    EXPECT_EQ(runHastool({"xpath", good, "no:prefix"}).err,
              "hastool: \"no:prefix\": Undefined namespace prefix\n");
}
