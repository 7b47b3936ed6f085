#include "Hastool.h"

#include <support/Pattern.h>
#include <support/TempDir.h>

#include <filesystem>

#include <gtest/gtest.h>

#ifdef HAS_SAMPLES_DIR
#include <support/Samples.h>
#endif

using test::Child;
using test::readFile;
using test::runHastool;

namespace {

const std::string kKey = "2459d6388c608c6e8fa64c7f1ca17b48";
const std::string kIv = "9284b42aeb497d2b17a72ab494fc64ea";

class HastoolDecrypt : public testing::Test {
protected:
    std::string file(const std::string& name) const { return m_dir.file(name); }
    std::string plain(size_t size) const { return m_dir.write("plain", test::pattern(size).all()); }
    /// Encrypts a file by the openssl program.
    std::string encrypt(const std::string& path, const std::string& iv = kIv,
                        bool padding = true) const {
        openssl({"-e", "-iv", iv, "-in", path, "-out", file("cipher")}, padding);
        return file("cipher");
    }
    static void openssl(const std::vector<std::string>& more, bool padding = true) {
        std::vector<std::string> command = {"openssl", "enc", "-aes-128-cbc", "-K", kKey};
        command.insert(command.end(), more.begin(), more.end());
        if (!padding)
            command.emplace_back("-nopad");
        test::runOk(command);
    }
    /// Expects that the tool fails with this line and leaves no file behind.
    void expectFailure(const std::vector<std::string>& arguments, const std::string& line,
                       int status = 1) const {
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "hastool: " + line + "\n");
        EXPECT_FALSE(std::filesystem::exists(file("out")));
        EXPECT_FALSE(std::filesystem::exists(file("out.part")));
    }

    test::TempDir m_dir;
};

const std::string kBadPadding =
    ": bad padding: wrong key or initialisation vector, or damaged data";

} // namespace

TEST_F(HastoolDecrypt, WritesWhatOpensslWrites) {
    for (const size_t size : {0U, 1U, 15U, 16U, 17U, 4097U, 3000000U}) {
        const std::string cipher = encrypt(plain(size));
        openssl({"-d", "-iv", kIv, "-in", cipher, "-out", file("peer")});
        const Child::Result result =
            runHastool({"decrypt", "--key", kKey, "--iv", kIv, cipher, file("out")});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out + result.err, "");
        EXPECT_TRUE(readFile(file("out")) == readFile(file("peer"))) << size;
        EXPECT_EQ(readFile(file("out")).size(), size);
    }
}

TEST_F(HastoolDecrypt, LeavesThePaddingWhereItIsToldTo) {
    const std::string cipher = encrypt(plain(100));
    openssl({"-d", "-iv", kIv, "-in", cipher, "-out", file("peer")}, false);
    EXPECT_EQ(runHastool({"decrypt", "--no-padding", "--key", "0x" + kKey, "--iv", "0x" + kIv,
                          cipher, file("out")})
                  .status,
              0);
    EXPECT_EQ(readFile(file("out")).size(), 112U);
    EXPECT_TRUE(readFile(file("out")) == readFile(file("peer")));
}

TEST_F(HastoolDecrypt, TakesASequenceNumberForAVector) {
    const std::string text = plain(1000);
    std::string cipher = encrypt(text, "00000000000000000000000000001e72");
    EXPECT_EQ(
        runHastool({"decrypt", "--key", kKey, "--sequence", "7794", cipher, file("out")}).status,
        0);
    EXPECT_TRUE(readFile(file("out")) == readFile(text));
    cipher = encrypt(text, "00000000000000000000000100000002");
    EXPECT_EQ(
        runHastool({"decrypt", "--key", kKey, "--sequence", "4294967298", cipher, file("out")})
            .status,
        0);
    EXPECT_TRUE(readFile(file("out")) == readFile(text));
}

TEST_F(HastoolDecrypt, ReadsAndWritesTheStandardStreams) {
    const std::string text = plain(200000);
    const std::string cipher = encrypt(text);
    const std::string command =
        std::string(HASTOOL_PATH) + " decrypt --key " + kKey + " --iv " + kIv;
    test::runOk({"sh", "-c", command + " - - <" + cipher + " | cat >" + file("piped")});
    EXPECT_TRUE(readFile(file("piped")) == readFile(text));
    test::runOk({"sh", "-c", "cat " + cipher + " | " + command + " - " + file("out")});
    EXPECT_TRUE(readFile(file("out")) == readFile(text));
    test::runOk({"sh", "-c",
                 "printf before >" + file("both") + "; " + command + " " + cipher + " - >>" +
                     file("both")});
    EXPECT_TRUE(readFile(file("both")) == "before" + readFile(text));
    const Child::Result full = test::run({"sh", "-c", command + " " + cipher + " - >/dev/full"});
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "hastool: standard output: cannot be written: No space left on device\n");
}

TEST_F(HastoolDecrypt, ReplacesItsOwnInput) {
    const std::string text = plain(5000);
    const std::string cipher = encrypt(text);
    EXPECT_EQ(runHastool({"decrypt", "--key", kKey, "--iv", kIv, cipher, cipher}).status, 0);
    EXPECT_TRUE(readFile(cipher) == readFile(text));
}

TEST_F(HastoolDecrypt, SaysWhatIsWrongWithTheFile) {
    const std::string cipher = encrypt(plain(3000000));
    const std::vector<std::string> begin = {"decrypt", "--key", kKey, "--iv", kIv};
    const auto command = [&](const std::string& in) {
        std::vector<std::string> result = begin;
        result.insert(result.end(), {in, file("out")});
        return result;
    };
    const std::string bytes = readFile(cipher);
    const std::string cut = m_dir.write("cut", bytes.substr(0, 2000007));
    expectFailure(command(cut),
                  cut + ": cut short or not encrypted: 2000007 bytes are no whole blocks of 16");
    const std::string block = m_dir.write("block", bytes.substr(0, 2000000));
    expectFailure(command(block), block + kBadPadding);
    const std::string empty = m_dir.write("empty", "");
    expectFailure(command(empty), empty + ": empty, without even the padding");
    expectFailure(command("/none"), "/none: cannot be read: No such file or directory");
    expectFailure({"decrypt", "--key", std::string(32, '1'), "--iv", kIv, cipher, file("out")},
                  cipher + kBadPadding);
    expectFailure({"decrypt", "--key", kKey, "--iv", kIv, "--no-padding", cut, file("out")},
                  cut + ": cut short or not encrypted: 2000007 bytes are no whole blocks of 16");
}

TEST_F(HastoolDecrypt, LeavesWhatWasThereWhenItFails) {
    const std::string out = m_dir.write("kept", "old");
    const std::string cut = m_dir.write("cut", std::string(2000001, 'x'));
    EXPECT_EQ(runHastool({"decrypt", "--key", kKey, "--iv", kIv, cut, out}).status, 1);
    EXPECT_EQ(readFile(out), "old");
    EXPECT_FALSE(std::filesystem::exists(out + ".part"));
}

TEST_F(HastoolDecrypt, SaysWhatCannotBeWritten) {
    const std::string cipher = encrypt(plain(100));
    expectFailure({"decrypt", "--key", kKey, "--iv", kIv, cipher, file("none/o")},
                  file("none/o") + ": cannot be written: No such file or directory");
    expectFailure({"decrypt", "--key", kKey, "--iv", kIv, cipher, "/dev/full"},
                  "/dev/full: cannot be written: No space left on device");
}

TEST_F(HastoolDecrypt, RefusesKeysAndVectorsThatAreNone) {
    const std::string in = plain(16);
    const std::string needed = ": 32 hexadecimal digits are needed";
    for (const std::string key : {"", "12", "x459d6388c608c6e8fa64c7f1ca17b48"}) {
        expectFailure({"decrypt", "--key", key, "--iv", kIv, in, file("out")}, "--key" + needed, 2);
        expectFailure({"decrypt", "--key", kKey, "--iv", key, in, file("out")}, "--iv" + needed, 2);
    }
    expectFailure({"decrypt", "--key", kKey + "00", "--iv", kIv, in, file("out")}, "--key" + needed,
                  2);
    expectFailure({"decrypt", "--key", kKey, in, file("out")}, "--iv or --sequence is needed", 2);
    for (const std::string number : {"", "x", "-1", "0x1", "1.5", "18446744073709551616"})
        expectFailure({"decrypt", "--key", kKey, "--sequence", number, in, file("out")},
                      "--sequence: not a number: \"" + number + "\"", 2);
}

TEST_F(HastoolDecrypt, RefusesWrongUsage) {
    const std::vector<std::vector<std::string>> wrong = {
        {"decrypt"},
        {"decrypt", "--key", kKey, "--iv", kIv, "in"},
        {"decrypt", "--iv", kIv, "in", "out"},
        {"decrypt", "--key", kKey, "--iv", kIv, "--sequence", "1", "in", "out"},
    };
    for (const auto& arguments : wrong) {
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_EQ(test::lines(result.err), 1) << result.err;
    }
}

#ifdef HAS_SAMPLES_DIR

TEST_F(HastoolDecrypt, TreatsTheSampleFilesAsOpensslDoes) {
    int good = 0;
    int bad = 0;
    for (const nlohmann::json& row : test::sampleJson("dev-expected/aes.json")) {
        const std::string in = std::string(HAS_SAMPLES_DIR "/") + row["file"].get<std::string>();
        const std::string key = row["key"];
        const std::string iv = row["iv"];
        std::vector<std::string> ours = {"decrypt", "--key", key, "--iv", iv, in, file("out")};
        std::vector<std::string> theirs = {"openssl", "enc", "-d",   "-aes-128-cbc",
                                           "-K",      key,   "-iv",  iv,
                                           "-in",     in,    "-out", file("peer")};
        if (row["padding"] == "none") {
            ours.emplace_back("--no-padding");
            theirs.emplace_back("-nopad");
        }
        std::filesystem::remove(file("out"));
        const Child::Result result = runHastool(ours);
        EXPECT_EQ(result.status == 0, test::run(theirs).status == 0) << row["file"];
        if (result.status == 0)
            EXPECT_TRUE(readFile(file("out")) == readFile(file("peer"))) << row["file"];
        else
            EXPECT_FALSE(std::filesystem::exists(file("out"))) << row["file"];
        ++(result.status == 0 ? good : bad);
    }
    EXPECT_GE(good, 8);
    EXPECT_GE(bad, 1);
}

#endif
