#include "DecryptCommand.h"

#include "ExitCode.h"
#include <hastool/base/ByteSource.h>
#include <hastool/base/Interrupt.h>
#include <hastool/base/Number.h>
#include <hastool/base/OutputFile.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/SegmentDecryptor.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace hastool {
namespace {

constexpr char kExamples[] = R"(Examples:
  hastool decrypt --key 2459d6388c608c6e8fa64c7f1ca17b48 --sequence 7 7.ts clear.ts
  hastool decrypt --key 0x... --iv 0x... --no-padding - - <in >out
A key and an IV have 32 hexadecimal digits. "-" is the standard input or output.
)";

constexpr char kStandard[] = "-";

/// The output: a file that gets its name when it is whole, or the standard output.
class PlainOutput : public ByteSink {
public:
    explicit PlainOutput(const std::string& path) {
        if (path != kStandard)
            m_file.emplace(path, OutputFile::Mode::Replace);
    }

    /// @throws ToolError when it cannot be written
    bool write(const unsigned char* data, size_t size) override {
        const std::string_view text(reinterpret_cast<const char*>(data), size);
        if (m_file)
            m_file->write(text);
        else
            check(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
        return true;
    }
    void commit() {
        if (m_file)
            m_file->commit();
        else
            check(std::fflush(stdout) == 0);
    }

private:
    static void check(bool isWritten) {
        if (!isWritten)
            throw ToolError("standard output",
                            std::string("cannot be written: ") + std::strerror(errno));
    }

    std::optional<OutputFile> m_file;
};

int wrongUsage(const std::string& what) {
    std::fprintf(stderr, "hastool: %s\n", what.c_str());
    return kWrongUsage;
}

std::string noDigits(const std::string& option) {
    return option + ": 32 hexadecimal digits are needed";
}

} // namespace

DecryptCommand::DecryptCommand(CLI::App& app)
    : m_command(app.add_subcommand("decrypt", "Decrypt a segment of AES-128-CBC")) {
    CLI::App& command = *m_command;
    command.add_option("IN", m_in, "The encrypted file")->required();
    command.add_option("OUT", m_out, "The file to write")->required();
    command.add_option("--key", m_key, "The key")->required()->type_name("HEX");
    CLI::Option* const iv =
        command.add_option("--iv", m_iv, "The initialisation vector")->type_name("HEX");
    command
        .add_option("--sequence", m_sequence,
                    "The media sequence number that stands for the vector in HLS")
        ->type_name("N")
        ->excludes(iv);
    command.add_flag("--no-padding", m_noPadding, "Leave the end as it is");
    command.footer(kExamples);
}

int DecryptCommand::run() {
    // The message does not repeat the text: with a single wrong letter it is still almost the key.
    const auto key = parseAesBytes(m_key);
    if (!key)
        return wrongUsage(noDigits("--key"));
    std::string failure;
    const auto iv = vector(failure);
    if (!iv)
        return wrongUsage(failure);
    decrypt(*key, *iv);
    return kDone;
}

std::optional<AesBytes> DecryptCommand::vector(std::string& failure) const {
    if (m_command->count("--iv") > 0) {
        failure = noDigits("--iv");
        return parseAesBytes(m_iv);
    }
    if (m_command->count("--sequence") == 0) {
        failure = "--iv or --sequence is needed";
        return std::nullopt;
    }
    failure = "--sequence: not a number: " + inQuotes(m_sequence);
    const auto sequence = parseUnsigned(m_sequence);
    return sequence ? std::optional(ivOfSequence(*sequence)) : std::nullopt;
}

void DecryptCommand::decrypt(const AesBytes& key, const AesBytes& iv) const {
    const std::string name = m_in == kStandard ? "standard input" : m_in;
    const ByteSource source = m_in == kStandard ? standardInput() : fileSource(m_in);
    PlainOutput out(m_out);
    SegmentDecryptor decryptor(key, iv, !m_noPadding, out);
    const auto require = [&](bool holds) {
        if (!holds)
            throw ToolError(name, decryptor.failure());
    };
    source([&](const unsigned char* data, size_t size) {
        if (isInterrupted())
            throw ToolError(name, "interrupted");
        require(decryptor.write(data, size));
    });
    require(decryptor.finish());
    out.commit();
}

} // namespace hastool
