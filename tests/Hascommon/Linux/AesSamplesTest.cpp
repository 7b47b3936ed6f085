// Published vectors and the sample files, in pieces of awkward sizes.
#include <Hascommon/Drm_Common.h>
#include <support/AesStream.h>
#include <support/LogCapture.h>
#include <support/Samples.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <openssl/sha.h>

namespace {

using hascommon::aes::Decrypt;
using test::AesSetting;
using test::Bytes;
using test::Decrypted;
using test::decryptInPieces;

constexpr size_t kPieces[] = {1, 7, 15, 16, 17, 188, 4096};

Bytes fromHex(const std::string& text) {
    Bytes bytes(text.size() / 2);
    hexStringToByte(text, bytes.data(), static_cast<unsigned int>(bytes.size()));
    return bytes;
}

std::string toLowerHex(const Bytes& bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string sha256(const Bytes& bytes) {
    Bytes digest(SHA256_DIGEST_LENGTH);
    SHA256(bytes.data(), bytes.size(), digest.data());
    return toLowerHex(digest);
}

AesSetting settingOf(const nlohmann::json& row) {
    AesSetting setting;
    setting.key = fromHex(row["key"]);
    setting.iv = fromHex(row["iv"]);
    setting.padding = row["padding"] != "none";
    return setting;
}

/// One block of a vector file.
struct Vector {
    AesSetting setting;
    Bytes plain;
    Bytes cipher;
};

std::vector<Vector> readVectors(const std::string& path) {
    std::ifstream file = test::openSample(path);
    std::vector<Vector> vectors;
    for (std::string line; std::getline(file, line);) {
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        const size_t equals = line.find(" = ");
        if (equals == std::string::npos)
            continue;
        const std::string name = line.substr(0, equals);
        if (name == "COUNT") {
            vectors.emplace_back();
            vectors.back().setting.padding = false;
            continue;
        }
        Vector& vector = vectors.back();
        const Bytes value = fromHex(line.substr(equals + 3));
        (name == "KEY"         ? vector.setting.key
         : name == "IV"        ? vector.setting.iv
         : name == "PLAINTEXT" ? vector.plain
                               : vector.cipher) = value;
    }
    return vectors;
}

TEST(AesSamples, NistVectorsDecryptInPiecesOfEverySize) {
    Decrypt decrypt;
    for (const char* path : {"aes/nist/CBCGFSbox128.rsp", "aes/nist/CBCMMT128.rsp"}) {
        const std::vector<Vector> vectors = readVectors(path);
        EXPECT_GE(vectors.size(), 14U) << path;
        for (const Vector& vector : vectors) {
            for (const size_t piece : kPieces) {
                const Decrypted result =
                    decryptInPieces(decrypt, vector.setting, vector.cipher, piece);
                EXPECT_TRUE(result.ok && !result.bytes.empty());
                EXPECT_EQ(result.bytes, vector.plain) << path << " in pieces of " << piece;
            }
        }
    }
}

TEST(AesSamples, FilesDecryptInPiecesOfEverySize) {
    Decrypt decrypt;
    int files = 0;
    for (const nlohmann::json& row : test::sampleJson("dev-expected/aes.json")) {
        if (!row.contains("plain_sha256"))
            continue;
        ++files;
        const Bytes cipher = test::sample(row["file"]).copy();
        for (const size_t piece : kPieces) {
            SCOPED_TRACE(row["file"].get<std::string>() + " in pieces of " + std::to_string(piece));
            const Decrypted result = decryptInPieces(decrypt, settingOf(row), cipher, piece);
            EXPECT_TRUE(result.ok);
            EXPECT_EQ(result.bytes.size(), row["plain_size"]);
            EXPECT_EQ(sha256(result.bytes), row["plain_sha256"]);
            const std::string first = row.value("plain_first16", "");
            EXPECT_EQ(toLowerHex(result.bytes).substr(0, first.size()), first);
        }
    }
    EXPECT_GE(files, 8);
}

TEST(AesSamples, AFileWithoutPaddingIsNoneWithIt) {
    Decrypt decrypt;
    const test::LogCapture log;
    int files = 0;
    for (const nlohmann::json& row : test::sampleJson("dev-expected/aes.json")) {
        if (!row.contains("with_pkcs7_expected"))
            continue;
        ++files;
        AesSetting setting = settingOf(row);
        setting.padding = true;
        const Bytes cipher = test::sample(row["file"]).copy();
        EXPECT_FALSE(decryptInPieces(decrypt, setting, cipher, 7).ok);
        EXPECT_EQ(decrypt.GetLastErrorCode(), -11);
    }
    EXPECT_EQ(files, 1);
    EXPECT_EQ(log.count("Error! EVP_DecryptFinal()"), files);
}

TEST(AesSamples, ACutFileGivesItsWholeBlocksAndThenFails) {
    Decrypt decrypt;
    int files = 0;
    for (const nlohmann::json& row : test::sampleJson("dev-expected/aes.json")) {
        if (row.value("expected", "") != "error")
            continue;
        ++files;
        const Bytes cipher = test::sample(row["file"]).copy();
        for (const size_t piece : kPieces) {
            const test::LogCapture log;
            const Decrypted padded = decryptInPieces(decrypt, settingOf(row), cipher, piece);
            EXPECT_FALSE(padded.ok);
            EXPECT_EQ(log.messages(), (std::vector<std::string>{"Error! Decrypt align error",
                                                                "Error! EVP_DecryptFinal()"}));
            // The latest block is kept back, as it might be the last one, which has the padding.
            EXPECT_EQ(padded.bytes.size(), cipher.size() / 16 * 16 - 16);
            EXPECT_EQ(sha256(padded.bytes), row["whole_blocks_before_the_end_sha256"]);
        }
    }
    EXPECT_EQ(files, 1);
}

} // namespace
