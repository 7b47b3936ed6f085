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

    /// Makes an easy handle with libcurl's default options.
    /// @throws std::exception when libcurl has no handle to give
    virtual ICurlEasy* CreateCurlEasy() = 0;
    /// Makes a multi handle without transfers.
    /// @throws std::exception when libcurl has no handle to give
    virtual ICurlMulti* CreateCurlMulti() = 0;
    /// Deletes an easy handle, which is in no multi handle any more; null is ignored.
    virtual void ReleaseCurlEasy(ICurlEasy* easy) = 0;
    /// Deletes a multi handle, in which no easy handle is any more; null is ignored.
    virtual void ReleaseCurlMulti(ICurlMulti* multi) = 0;
};

} // namespace hascommon
