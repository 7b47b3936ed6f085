#include "RuleLibrary.h"

#include <hastool/base/ToolError.h>

#include <filesystem>

#include <dlfcn.h>

namespace hastool {
namespace {

using hascommon::IBitrateSwitcher;
using MakeSwitcher = IBitrateSwitcher* (*)();

/// What the loader says, without the file's name that it may begin with.
std::string loaderText(const std::string& file) {
    const char* const text = dlerror();
    const std::string what = text != nullptr ? text : "cannot be opened";
    const std::string prefix = file + ": ";
    return what.rfind(prefix, 0) == 0 ? what.substr(prefix.size()) : what;
}

} // namespace

std::shared_ptr<IBitrateSwitcher> loadSwitcher(const std::string& file) {
    if (!std::filesystem::exists(file))
        throw ToolError(file, "no such file");
    // The loader looks for a name without a folder among the system's libraries.
    const std::string path = file.find('/') == std::string::npos ? "./" + file : file;
    const std::shared_ptr<void> library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL), [](void* it) {
        if (it != nullptr)
            dlclose(it);
    });
    if (library == nullptr)
        throw ToolError(file, "no library that can be loaded: " + loaderText(path));
    const auto make = reinterpret_cast<MakeSwitcher>(dlsym(library.get(), kMakeSwitcher));
    if (make == nullptr)
        throw ToolError(file, std::string("it has no function ") + kMakeSwitcher);
    IBitrateSwitcher* const made = make();
    if (made == nullptr)
        throw ToolError(file, std::string(kMakeSwitcher) + " makes no switcher");
    return {made, [library](const IBitrateSwitcher* it) { delete it; }};
}

} // namespace hastool
