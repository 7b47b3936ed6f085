// Extra request header lines.
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

namespace hascommon::detail {

/// A libcurl string list that never changes once it is shared: transfers read it on their thread
/// while the owner adds to a copy.
using HeaderList = std::shared_ptr<curl_slist>;

/// The lines of `list` and one more; null when there is no memory for it.
HeaderList withLine(const HeaderList& list, const std::string& line);

} // namespace hascommon::detail
