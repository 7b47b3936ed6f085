// The tool as a user runs it.
#pragma once

#include <support/Child.h>

#include <string>
#include <vector>

namespace test {

/// A command line of the tool that was built.
inline std::vector<std::string> hastoolCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {HASTOOL_PATH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

/// Settings that keep a user's proxies out of a test.
inline std::vector<std::string> hastoolEnvironment() {
    return {"no_proxy=127.0.0.1,localhost"};
}

/// Runs the tool to its end.
inline Child::Result runHastool(const std::vector<std::string>& arguments) {
    return run(hastoolCommand(arguments), hastoolEnvironment(), std::chrono::seconds(100));
}

/// How many lines a text has.
inline int lines(const std::string& text) {
    int count = 0;
    for (const char letter : text)
        count += letter == '\n' ? 1 : 0;
    return count;
}

} // namespace test
