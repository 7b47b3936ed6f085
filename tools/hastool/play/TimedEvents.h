// The events that the presentation announces.
#pragma once

#include "Journal.h"
#include <hastool/formats/TimedEvent.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace hastool {

/// Tells each event once, when the media of its time is fetched.
///
/// A manifest is loaded again and again, and segments repeat their messages: an event that comes
/// again may only bring an end that was not known. A break whose begin was told is over at its end,
/// or where another event ends it.
class TimedEvents {
public:
    /// The most events that are kept for later, and the most that are remembered as told.
    static constexpr size_t kMaxEvents = 20000;

    /// @param journal  borrowed
    explicit TimedEvents(Journal& journal)
        : m_journal(journal) {}

    void announce(std::vector<TimedEvent> events);
    /// The play comes to a piece of the main track: tells what happens before its end. What was
    /// over when the play began is not told.
    /// @param begin     of the piece, in seconds since the presentation began
    /// @param position  where the play puts it, in seconds of media
    void reach(double begin, double seconds, double position);

private:
    struct Entry {
        TimedEvent event;
        bool isTold = false; ///< its begin; its end follows
    };
    /// Something to tell at a time.
    struct Due {
        double time = 0; ///< seconds since the presentation began
        const Entry* entry = nullptr;
        bool isEnd = false;
    };
    using Entries = std::map<std::string, Entry>;

    void merge(Entry& entry, const TimedEvent& event) const;
    bool wasBefore(const TimedEvent& event) const;
    std::vector<Due> due(double end);
    void tell(const Due& due, double position);
    void dropDone(double end);

    Journal& m_journal;
    Entries m_entries;
    std::set<std::string> m_done; ///< keys of what was told
    std::optional<double> m_joined;
};

} // namespace hastool
