// hastool decrypt
#pragma once

#include <hastool/net/AesKey.h>

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// Decrypts a file of AES-128-CBC, as a segment of HLS is one.
class DecryptCommand {
public:
    /// Adds the command and its options.
    explicit DecryptCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    /// The initialisation vector; nothing, and why in `failure`, where the options do not give it.
    std::optional<AesBytes> vector(std::string& failure) const;
    void decrypt(const AesBytes& key, const AesBytes& iv) const;

    CLI::App* m_command;
    std::string m_key;
    std::string m_iv;
    std::string m_sequence;
    bool m_noPadding = false;
    std::string m_in;
    std::string m_out;
};

} // namespace hastool
