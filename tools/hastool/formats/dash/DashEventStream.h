// Events of a DASH manifest (ISO/IEC 23009-1, clause 5.10.2).
#pragma once

#include <hastool/base/XmlDocument.h>
#include <hastool/formats/TimedEvent.h>

#include <string>
#include <vector>

namespace hastool {

/// The most events of a manifest, and of one EventStream; those beyond are left out.
constexpr size_t kMaxDashEvents = 20000;

/// Reads an EventStream. The times of its events count from the begin of its period. An event that
/// cannot be used is left out, and so are those beyond `kMaxDashEvents`.
/// @param url       names the manifest in messages
/// @param problems  takes a line for what was left out
std::vector<TimedEvent> readEventStream(const hascommon::XmlElement& element,
                                        const std::string& url, std::vector<std::string>& problems);

} // namespace hastool
