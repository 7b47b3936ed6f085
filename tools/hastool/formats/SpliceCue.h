// Cue messages of digital programme insertion (ANSI/SCTE 35).
#pragma once

#include "TimedEvent.h"

#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// What a cue message means for the presentation that carries it.
struct SpliceCue {
    TimedEvent::Break adBreak = TimedEvent::Break::None;
    std::optional<double> seconds; ///< how long the break lasts, where it is said
    std::string text;              ///< for people: plain ASCII in one line
};

/// Reads a splice_info_section. One whose command is encrypted, or not known, means nothing for
/// advertisements.
/// @return nothing for other bytes, and for a section that is cut or whose checksum is wrong
std::optional<SpliceCue> parseSpliceSection(std::string_view section);

/// What a segmentation type (ANSI/SCTE 35, table 23) means for advertisements.
TimedEvent::Break breakOfSegmentation(unsigned type);

/// Whether the messages of a scheme are cue messages (ANSI/SCTE 214-1).
bool isSpliceScheme(const std::string& scheme);

/// Completes an event by what its cue message means. An end that the event itself gives stays.
void addSpliceCue(TimedEvent& event, const SpliceCue& cue);
/// The same for the bytes of a message; its text says so where they cannot be read.
void addSpliceCue(TimedEvent& event, std::string_view section);

/// The clock of cue messages, in hertz.
constexpr double kSpliceClock = 90000;

} // namespace hastool
