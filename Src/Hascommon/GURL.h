/// @file
/// A parsed URL.
///
/// The library parses URLs to decide which host a connection belongs to and which cookies go with a
/// request. With `-DREINOKEITRO_GURL=system` the class of that name of an installed googleurl does
/// it; otherwise the class below, which takes libcurl's own parser. What decides where a cookie
/// goes is then what decides where the request goes.
#pragma once

#ifdef REINOKEITRO_GURL_SYSTEM

#include <googleurl/url/gurl.h>

namespace hascommon {
using ::GURL;
} // namespace hascommon

#else

#include <Hascommon/Export.h>

#include <string>

namespace hascommon {

/// An absolute URL (RFC 3986) in its canonical form, or no valid URL at all.
///
/// Canonical: scheme and host in lower case, an internationalised host in its ASCII form (RFC 5891,
/// RFC 5892; independent of the process's locale), numeric hosts in their usual notation, the port
/// only where it is not the scheme's own, no dot segments in the path, bytes that a URL cannot hold
/// percent-encoded. The canonical form of a canonical form is itself.
///
/// Accepted are the schemes that libcurl speaks. Control characters, also a zero byte, make a URL
/// invalid wherever they stand. Whether a host name can exist is not looked at.
///
/// All components of an invalid URL are empty; no URL is ever half parsed. Objects own their text;
/// different ones may be used from different threads at the same time.
class HAS_API GURL {
public:
    /// An invalid URL.
    GURL() = default;
    /// Parses `url`; is_valid() tells how that went.
    explicit GURL(const std::string& url);

    bool is_valid() const { return m_valid; }

    /// The whole URL in its canonical form, with user information and fragment where it has them.
    const std::string& spec() const { return m_spec; }

    /// The scheme without its colon, as in "https".
    const std::string& scheme() const { return m_scheme; }

    /// The host name or address, an IPv6 address in its brackets; never user information or port.
    const std::string& host() const { return m_host; }

    /// The port in decimal digits; empty where it is the scheme's own.
    const std::string& port() const { return m_port; }

    /// The path from its leading "/", without the query; "/" where the URL has no path.
    const std::string& path() const { return m_path; }

    /// What follows the "?", without it; empty also where there is no "?".
    const std::string& query() const { return m_query; }

    /// @param lowerScheme  a scheme in lower case, without a colon; null matches nothing
    /// @return whether the URL is valid and has this scheme
    bool SchemeIs(const char* lowerScheme) const;

    /// Takes `relative` as a reference seen in this URL's document (RFC 3986, section 5), as
    /// libcurl does with a redirect. The fragment of this URL plays no part.
    /// @param relative  a relative or absolute reference; empty names this URL
    /// @return the URL it names; an invalid one where this one is invalid, or the reference is
    GURL Resolve(const std::string& relative) const;

private:
    bool m_valid = false;
    std::string m_spec;
    std::string m_scheme;
    std::string m_host;
    std::string m_port;
    std::string m_path;
    std::string m_query;
};

} // namespace hascommon

using hascommon::GURL;

#endif
