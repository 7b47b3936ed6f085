// hastool xpath
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// Asks an XML document for a value.
class XPathCommand {
public:
    /// Adds the command and its options.
    explicit XPathCommand(CLI::App& app);

    /// Whether the command line asked for it.
    bool isChosen() const { return m_command->parsed(); }
    /// Runs it. @return the exit status. @throws ToolError
    int run();

private:
    CLI::App* m_command;
    std::string m_file;
    std::string m_expression;
    std::string m_attribute;
    std::string m_type;
};

} // namespace hastool
