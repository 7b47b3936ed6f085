// URLs that are plainly in their canonical form.
#pragma once

#include <optional>
#include <string_view>

namespace hascommon::detail {

/// The parts of a URL; they point into its text.
struct PlainUrl {
    std::string_view scheme;
    std::string_view host;
    std::string_view port; ///< empty where there is none
    std::string_view path;
    std::string_view query; ///< empty where there is none
};

/// Takes a URL apart that any parser would leave as it is, and for which the real one need not be
/// asked: http or https, a name or an IPv4 address in its usual notation, a path, and characters
/// that stand for themselves. Most URLs of media are such.
/// @return nothing for any other, which may be a URL all the same
std::optional<PlainUrl> readPlainUrl(std::string_view text);

} // namespace hascommon::detail
