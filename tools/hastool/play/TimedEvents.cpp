#include "TimedEvents.h"

#include <hastool/base/Quantities.h>
#include <hastool/media/BoxFields.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

using Break = TimedEvent::Break;

constexpr size_t kMaxText = 200; // longer text hides the rest of the line

std::string keyOf(const TimedEvent& event) {
    return event.origin + '\n' + event.scheme + '\n' + event.id;
}

/// Where an event happens: the one that ends a break does so at its end, where that is given.
double momentOf(const TimedEvent& event) {
    return event.adBreak == Break::Ends ? event.end.value_or(event.start) : event.start;
}

std::string cut(const std::string& text) {
    return plainText(text.substr(0, kMaxText));
}

/// "DATERANGE ad-1 of urn:x at 12.0 s for 30.0 s: splice insert".
std::string textOf(const TimedEvent& event, double position) {
    std::string text = event.origin + " " + cut(event.id);
    if (!event.scheme.empty())
        text += " of " + cut(event.scheme);
    text += " at " + secondsText(position);
    if (event.end && *event.end > event.start)
        text += " for " + secondsText(*event.end - event.start);
    return event.text.empty() ? text : text + ": " + cut(event.text);
}

} // namespace

void TimedEvents::announce(std::vector<TimedEvent> events) {
    for (TimedEvent& event : events) {
        const std::string key = keyOf(event);
        const auto found = m_entries.find(key);
        if (found != m_entries.end())
            merge(found->second, event);
        else if (m_done.count(key) == 0 && m_entries.size() < kMaxEvents)
            m_entries[key].event = std::move(event);
    }
}

/// What was told stays as it was told.
void TimedEvents::merge(Entry& entry, const TimedEvent& event) const {
    if (entry.isTold)
        entry.event.end = event.end;
    else if (entry.event.adBreak == Break::Begins && event.adBreak == Break::Ends)
        entry.event.end = event.end; // the range of a break comes again when its end is known
    else
        entry.event = event;
}

void TimedEvents::reach(double begin, double seconds, double position) {
    if (!m_joined)
        m_joined = begin;
    const double end = begin + seconds;
    for (const Due& it : due(end))
        tell(it, std::max(0.0, position + it.time - begin));
    dropDone(end);
}

bool TimedEvents::wasBefore(const TimedEvent& event) const {
    return std::max(momentOf(event), event.end.value_or(event.start)) < *m_joined;
}

/// What happens before a time and was not told yet, in its order.
std::vector<TimedEvents::Due> TimedEvents::due(double end) {
    std::vector<Due> list;
    for (auto& [key, entry] : m_entries) {
        const TimedEvent& event = entry.event;
        if (wasBefore(event))
            continue;
        const double moment = momentOf(event);
        if (!entry.isTold && moment < end) {
            list.push_back({moment, &entry, false});
            entry.isTold = true;
        }
        if (entry.isTold && event.adBreak == Break::Begins && event.end && *event.end < end)
            list.push_back({*event.end, &entry, true});
    }
    std::stable_sort(list.begin(), list.end(),
                     [](const Due& left, const Due& right) { return left.time < right.time; });
    return list;
}

void TimedEvents::tell(const Due& due, double position) {
    const TimedEvent& event = due.entry->event;
    if (!due.isEnd)
        m_journal.event("cue", textOf(event, position));
    if (due.isEnd || event.adBreak == Break::Ends)
        m_journal.breakEnds(position);
    else if (event.adBreak == Break::Begins)
        m_journal.breakBegins(position);
}

/// Forgets what needs no more telling: all that is over, and what has begun but for breaks.
void TimedEvents::dropDone(double end) {
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        const TimedEvent& event = it->second.event;
        const bool isOpenBreak = event.adBreak == Break::Begins && !(event.end && *event.end < end);
        if (!wasBefore(event) && (!it->second.isTold || isOpenBreak)) {
            ++it;
            continue;
        }
        if (m_done.size() == kMaxEvents)
            m_done.clear(); // rather tell one twice than remember all for ever
        m_done.insert(it->first);
        it = m_entries.erase(it);
    }
}

} // namespace hastool
