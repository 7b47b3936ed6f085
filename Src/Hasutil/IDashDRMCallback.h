/// @file
/// An extension point that DASH DRM handlers take.
#pragma once

#include <Hascommon/Export.h>

/// What an engine may hand to hascommon::IDRMHandler::SetExtendHandler().
///
/// The handlers of this library take it and never call it, so it has no operation: an engine
/// derives from it what it likes.
///
/// **Ownership.** The engine's. A handler neither keeps nor deletes it, so it may go at any time.
class HAS_API IDashDRMCallback {
public:
    virtual ~IDashDRMCallback();
};

namespace hascommon {
using ::IDashDRMCallback;
} // namespace hascommon
