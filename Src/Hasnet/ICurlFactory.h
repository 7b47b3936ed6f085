/// @file
/// Makes libcurl handles.
#pragma once

#include <Hascommon/Export.h>
#include <Hasnet/ICurlEasy.h>
#include <Hasnet/ICurlMulti.h>

namespace hascommon {

/// Creates and releases easy and multi handles.
///
/// Ownership: what a Create operation returns is the caller's, who gives it back to the matching
/// Release operation. Thread safety: any thread may call.
class HAS_API ICurlFactory {
public:
    virtual ~ICurlFactory();

    /// @throws std::exception when libcurl has no handle to give
    virtual ICurlEasy* CreateCurlEasy() = 0;
    /// @throws std::exception when libcurl has no handle to give
    virtual ICurlMulti* CreateCurlMulti() = 0;
    /// Deletes an easy handle; null is ignored.
    virtual void ReleaseCurlEasy(ICurlEasy* easy) = 0;
    /// Deletes a multi handle; null is ignored.
    virtual void ReleaseCurlMulti(ICurlMulti* multi) = 0;
};

} // namespace hascommon
