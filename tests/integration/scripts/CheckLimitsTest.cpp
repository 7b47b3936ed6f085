// The check of the project's limits notices what breaks them.
#include <support/Child.h>

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

/// A project of a few folders with the script in it.
class CheckLimitsTest : public ::testing::Test {
protected:
    CheckLimitsTest() {
        for (const char* folder : {"Src/Hascommon", "Src/Hasnet", "Src/Hasutil", "tests", "fuzz",
                                   "bench", "examples", "scripts"})
            fs::create_directories(project.path() / folder);
        for (const char* folder :
             {"base", "net", "formats/hls", "formats/dash", "formats/smooth", "media", "info",
              "check", "play", "origin", "simulate", "report", "ui", "demo", "commands"})
            fs::create_directories(project.path() / "tools/hastool" / folder);
        fs::copy(SOURCE_DIR "/scripts/check-limits.sh", project.path() / "scripts");
    }

    test::Child::Result check() const {
        return test::run({project.file("scripts/check-limits.sh")});
    }

    void expectComplaint(const std::string& text) const {
        const test::Child::Result result = check();
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr(text));
    }

    static std::string lines(int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += "    // Nothing.\n";
        return text;
    }

    test::TempDir project;
};

TEST_F(CheckLimitsTest, PassesWhatKeepsThem) {
    project.write("Src/Hasnet/A.cpp", "#include <Hascommon/B.h>\n\n" + lines(596));
    project.write("Src/Hasnet/F.cpp", "void f() {\n" + lines(58) + "}\n");
    const test::Child::Result result = check();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
}

TEST_F(CheckLimitsTest, NoticesALongFileWhicheverItIs) {
    project.write("Src/Hasnet/Curl.cpp", lines(601));
    expectComplaint("Src/Hasnet/Curl.cpp: 601 lines, at most 600\n");
}

TEST_F(CheckLimitsTest, NoticesALongFunction) {
    project.write("tools/A.cpp",
                  "namespace {\n\nint f(int a,\n      int b) {\n" + lines(58) + "}\n}\n");
    expectComplaint("tools/A.cpp:3: 61 lines, at most 60: int f(int a,\n");
}

TEST_F(CheckLimitsTest, NoticesIncludesInTheWrongDirection) {
    project.write("Src/Hascommon/A.h", "#include <Hasnet/B.h>\n");
    expectComplaint("Src/Hascommon/A.h:1:#include <Hasnet/B.h>\n");
    fs::remove(project.file("Src/Hascommon/A.h"));
    project.write("Src/Hasnet/A.h", "#include <Hasutil/B.h>\n");
    expectComplaint("Src/Hasnet: the two upper folders do not know each other\n");
    fs::remove(project.file("Src/Hasnet/A.h"));
    project.write("Src/Hasutil/A.h", "#include \"Hasnet/B.h\"\n");
    expectComplaint("Src/Hasutil: the two upper folders do not know each other\n");
    fs::remove(project.file("Src/Hasutil/A.h"));
    project.write("tools/A.h", "#include <Hasnet/detail/B.h>\n");
    expectComplaint("tools: the tool uses public headers only\n");
}

TEST_F(CheckLimitsTest, NoticesAFolderOfTheToolThatUsesOneBehindIt) {
    project.write("tools/hastool/play/A.h", "#include <hastool/media/B.h>\n");
    EXPECT_EQ(check().status, 0);
    project.write("tools/hastool/media/A.h", "#include <hastool/play/B.h>\n");
    expectComplaint("media may use base net formats media\n");
    fs::remove(project.file("tools/hastool/media/A.h"));
    project.write("tools/hastool/media/A.h", "#include \"../base/B.h\"\n");
    expectComplaint("tools/hastool/media: another folder is named from hastool/\n");
}

TEST_F(CheckLimitsTest, NoticesAFormatThatKnowsAnother) {
    project.write("tools/hastool/formats/A.h", "#include <hastool/formats/hls/B.h>\n");
    EXPECT_EQ(check().status, 0);
    project.write("tools/hastool/formats/dash/A.h", "#include <hastool/formats/hls/B.h>\n");
    expectComplaint("tools/hastool/formats/dash: one folder knows one format\n");
}

TEST_F(CheckLimitsTest, NoticesAFolderOfTheToolWithoutAPlace) {
    project.write("tools/hastool/engine/A.h", "");
    expectComplaint("tools/hastool/engine: a folder that has no place in the order\n");
}

TEST_F(CheckLimitsTest, NoticesLongTestsToo) {
    project.write("tests/ATest.cpp", lines(601));
    expectComplaint("tests/ATest.cpp: 601 lines, at most 600\n");
}

TEST_F(CheckLimitsTest, NoticesWordsThatExplainNothing) {
    const std::string word = std::string("TO") + "DO"; // In two, or this file would not pass.
    project.write("Src/Hasnet/A.h", "// " + word + ": later\n");
    expectComplaint("Src/Hasnet/A.h:1:");
    project.write("Src/Hasnet/A.h", "// Every toDouble() is fine.\n");
    EXPECT_EQ(check().status, 0);
}

} // namespace
