// Times and durations of manifests (XML Schema: xs:duration, xs:dateTime).
#pragma once

#include <optional>
#include <string>

namespace hastool {

/// "PT1H2M3.5S", "P1DT12H" as seconds. A year counts 365 days and a month 30, which is near enough:
/// presentations do not use them. The library's own function reads the time part only.
/// @return nothing for another text, and for a number that is negative or not finite
std::optional<double> parseIsoDuration(const std::string& text);

/// "2024-01-01T00:01:00.5+01:00" as seconds since the epoch; UTC where no zone is given.
/// @return nothing for another text
std::optional<double> parseIsoDateTime(const std::string& text);

/// "2024-01-01T00:01:00.500Z" for seconds since the epoch, from 0 on.
std::string isoDateTime(double seconds);

} // namespace hastool
