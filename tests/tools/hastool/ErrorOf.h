// The message that a failing action throws.
#pragma once

#include <hastool/base/ToolError.h>

#include <string>

namespace test {

/// The text of the ToolError that the action throws; empty when it throws nothing.
template<typename Action>
std::string errorOf(const Action& action) {
    try {
        action();
    } catch (const hastool::ToolError& error) {
        return error.what();
    }
    return {};
}

} // namespace test
