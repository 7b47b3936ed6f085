/// @file
/// The level and module filter of the engine's standard-output diagnostics.
#pragma once

#include <Hascommon/Export.h>

#include <array>
#include <atomic>

/// A process-wide filter with a `printf` behind it, for the engine that loads the library.
///
/// The library itself never prints through it, and its settings never change what reaches the
/// platform log. There are three anonymous modules, 0 to 2, all enabled at load.
///
/// Thread safety: every operation may be called from any thread; a reader beside a writer sees the
/// old or the new setting.
class HAS_API CHASDebug {
public:
    /// Lifecycle hook; does nothing.
    static void Create();

    /// Sets the highest level that prints.
    /// @param level  0 to 4
    /// @return false for a level above 4, which changes nothing. The level at load, 5, lies
    ///         above that range: once another is set, it does not come back.
    static bool SetLogLevel(unsigned short level);

    /// Enables or silences a module. Level 0 prints even when its module is silenced.
    /// @param module  0 to 2
    /// @return false for a module above 2, which changes nothing
    static bool SetDebugModule(unsigned short module, bool enable);

    /// Tells whether a message prints: level 0 always, otherwise when its module is enabled and
    /// `level` is not above the level set.
    /// @param module  0 to 2; a module beyond that is never enabled
    static bool CheckLogLevel(unsigned int module, unsigned int level);

    /// Prints to standard output when CheckLogLevel() lets it; adds no prefix and no newline.
    /// @return what `vfprintf` returns, or 0 when filtered out
    static int PrintLog(unsigned int module, unsigned int level, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

private:
    static constexpr unsigned int kModules = 3;

    struct LogInfo {
        std::atomic<unsigned short> level{5};
        std::array<std::atomic<unsigned char>, kModules> enabled{{{1}, {1}, {1}}};
    };

    static LogInfo m_logInfo;
};
