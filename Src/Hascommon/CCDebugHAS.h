/// @file
/// The façade through which an engine sets the CHASDebug filter.
#pragma once

#include <Hascommon/Export.h>

/// Forwards to CHASDebug; holds no data, so any number may exist.
///
/// Thread safety: as CHASDebug.
class HAS_API CCDebugHAS {
public:
    /// Lifecycle hook; does nothing.
    void t_InitModule();

    /// CHASDebug::SetLogLevel() with the level narrowed to 16 bits, all that the filter takes:
    /// 65536 is level 0.
    /// @return what CHASDebug::SetLogLevel() returns
    bool t_SetDebugLevel(unsigned int level);

    /// CHASDebug::SetDebugModule() with the module narrowed to 16 bits.
    /// @return what CHASDebug::SetDebugModule() returns
    bool t_SetDebugModule(unsigned long module, bool enable);
};
