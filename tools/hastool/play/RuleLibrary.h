// A switcher from a shared library.
#pragma once

#include <Hasnet/IBitrateSwitcher.h>

#include <memory>
#include <string>

namespace hastool {

/// The name of the C function that a library makes its switcher by:
/// `extern "C" hascommon::IBitrateSwitcher* hastool_make_switcher(void)`. The caller owns it.
constexpr char kMakeSwitcher[] = "hastool_make_switcher";

/// Opens a library, which stays open as long as the switcher lives.
/// @param file  without a "/" in it, of the current folder
/// @throws ToolError when it cannot be opened, or makes no switcher
std::shared_ptr<hascommon::IBitrateSwitcher> loadSwitcher(const std::string& file);

} // namespace hastool
